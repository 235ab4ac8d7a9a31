/** @file webprobe.h  Tries the BMC's web server step by step, with nobody logged in: TCP, TLS, a resource. */
#ifndef QVRFCTL_WEBPROBE_H
#define QVRFCTL_WEBPROBE_H

#include <string>
#include <vector>

#include "endpoint.h"

namespace qvrfctl {

/** What became of a try. */
struct WebAnswer {
    std::string problem;  ///< empty: none
    long        http = 0;
    std::string date;  ///< header "Date"; empty: none came
    std::string body;  ///< up to 1 MiB
};

class WebProbe {
public:
    /** @param interface  where a link-local IPv6 address without a zone is; empty: not known */
    WebProbe(Endpoint endpoint, const std::string& interface);

    WebAnswer connect() const;                     ///< TCP alone, 3 s at most
    WebAnswer get(const std::string& path) const;  ///< 5 s at most
    /** A request without a body, with @p header, a whole line, beside libcurl's own; 30 s at most. */
    WebAnswer request(const char* method, const std::string& path, const std::string& header) const;
    /** The versions of TLS that the server takes, "1.2"; each is tried for 2 s at most. */
    std::vector<std::string> tlsVersions() const;

private:
    Endpoint endpoint_;
    unsigned scope_;
};

}  // namespace qvrfctl

#endif

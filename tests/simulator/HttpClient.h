/** @file HttpClient.h  A plain HTTPS client on libcurl, for looking at the simulator from outside. */
#ifndef TESTS_SIMULATOR_HTTPCLIENT_H
#define TESTS_SIMULATOR_HTTPCLIENT_H

#include <curl/curl.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

struct HttpAnswer {
    CURLcode    curl   = CURLE_OK;
    long        status = 0;
    std::string header;  ///< the header block as received
    std::string body;

    /** Value of the first header line of that name, in whatever case; empty when absent. */
    std::string value(const std::string& name) const;
    /** How many header lines of that name there are. */
    int count(const std::string& name) const;
};

struct HttpCall {
    std::string                             method = "GET";
    std::string                             url;
    std::vector<std::string>                headers   = {};
    std::string                             body      = {};
    long                                    timeoutMs = 30000;
    std::function<bool(const std::string&)> onPiece   = {};  ///< false ends the transfer
    std::function<void(CURL*, curl_mime*)>  form      = {};  ///< fills a multipart form, sent instead of the body
    std::function<void(CURL*)>              options   = {};
};

/** One request on a connection of its own; the peer's certificate is not checked. */
HttpAnswer perform(const HttpCall& call);

#endif

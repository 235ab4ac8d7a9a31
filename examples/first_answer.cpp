// Opens a session with this server's BMC, of whichever generation, and reads one resource.
#include <cstdio>

#include "qvrfutil.hpp"

int main()
try {
    const qvrfutil::Client client;           // finds the BMC, and its generation
    qvrfutil::Session      session(client);  // logged in while this object lives
    const auto             answer = session.get("/redfish/v1/Systems").orThrow();
    std::printf("HTTP %d\n%s\n", answer.http, answer.body.c_str());
    return answer.ok() ? 0 : 1;
} catch (const qvrfutil::Failure& failure) {
    std::fprintf(stderr, "%s; %s\n", failure.what(), failure.error().remedy.c_str());
    return 1;
}

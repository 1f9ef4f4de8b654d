#pragma once

#include <optional>
#include <string>

#include "lib/explore/reply.h"

namespace samplenet {

// The headers that say where a request comes from and what it carries.
struct RequestHeaders {
    std::string method;
    std::string host;         // Host
    std::string origin;       // Origin; empty when the request has none
    std::string contentType;  // Content-Type
};

// Why the explore server on 127.0.0.1:`port` refuses a request before its
// service sees it, or nothing.
//  - 403 for a request addressed to another host name: a web site cannot
//    reach the server by pointing its own name at this machine.
//  - 403 for a request that would start work (any method but GET and HEAD)
//    from a page of another origin. Browsers name the page's origin in
//    Origin on such requests; tools that send none are served.
//  - 415 for such a request with a body that is not application/json. A
//    web page may send a plain-text POST anywhere without asking first; a
//    JSON one to another origin needs the server's consent, never given.
std::optional<Reply> refusal(const RequestHeaders& request, int port);

}  // namespace samplenet

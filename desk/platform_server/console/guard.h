// Who may use the console: nobody whom a web page from elsewhere has sent.
#ifndef NUVEK_DESK_CONSOLE_GUARD_H
#define NUVEK_DESK_CONSOLE_GUARD_H

#include <boost/asio/ip/tcp.hpp>

#include "http.h"

namespace desk::console {

using Header = boost::beast::http::request_header<>;

// Throws Refusal when the request, which came to `own`, must not be served.
void check_sender(const Header& head, const boost::asio::ip::tcp::endpoint& own);

}  // namespace desk::console

#endif

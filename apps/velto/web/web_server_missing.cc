#include "apps/velto/web/web_server.h"

// The server of a build without cpp-httplib: it tells what is missing.

namespace velto {

class WebServer::Http {};

WebServer::WebServer(EventLoop &loop, WebSource &source) : loop_(loop), source_(source) {}
WebServer::~WebServer() = default;

std::string WebServer::start(const WebOptions &) {
  return "this program was built without pages: cpp-httplib was missing (on Debian: "
         "libcpp-httplib-dev)";
}

} // namespace velto

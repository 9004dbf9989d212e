#include "apps/velto/web/web_access.h"

#include "base/text.h"

#include <arpa/inet.h>

namespace velto {

namespace {

constexpr std::string_view kBearer = "Bearer ";

// "localhost:8080", "[::1]:8080" without the port.
std::string_view withoutPort(std::string_view host) {
  if (host.starts_with('['))
    return host.substr(1, host.find(']') - 1);
  return host.substr(0, host.find(':'));
}

// The value of a cookie in "a=1; b=2".
std::string_view cookieValue(std::string_view cookies, std::string_view name) {
  while (!cookies.empty()) {
    const size_t end = std::min(cookies.find(';'), cookies.size());
    const std::string_view pair = trim(cookies.substr(0, end));
    if (pair.starts_with(name) && pair.substr(name.size()).starts_with('='))
      return pair.substr(name.size() + 1);
    cookies.remove_prefix(std::min(end + 1, cookies.size()));
  }
  return {};
}

} // namespace

bool isLoopback(std::string_view address) {
  in_addr number{};
  return equalsIgnoreCase(address, "localhost") || address == "::1" ||
         (inet_pton(AF_INET, std::string(address).c_str(), &number) == 1 &&
          (ntohl(number.s_addr) >> 24) == 127);
}

bool WebAccess::isToken(std::string_view word) const {
  unsigned different = word.size() == token_.size() ? 0 : 1;
  for (size_t i = 0; i < word.size() && !token_.empty(); ++i)
    different |= static_cast<unsigned char>(word[i] ^ token_[i % token_.size()]);
  return different == 0 && !token_.empty();
}

bool WebAccess::hasToken(const Request &request) const {
  return (request.authorization.starts_with(kBearer) &&
          isToken(std::string_view(request.authorization).substr(kBearer.size()))) ||
         isToken(cookieValue(request.cookie, cookieName_));
}

// A page elsewhere whose name is made to lead to this computer (DNS rebinding) names itself as the
// host. Where a token is needed such a page has none, since cookies belong to a name.
WebAccess::Verdict WebAccess::judge(const Request &request) const {
  if (!needsToken() && !isLoopback(withoutPort(request.host)))
    return Verdict::WrongHost;
  if (needsToken() && !hasToken(request))
    return Verdict::NoToken;
  if (!request.changes)
    return Verdict::Granted;
  const bool isOwn = request.origin.empty() || request.origin == "http://" + request.host ||
                     request.origin == "https://" + request.host;
  return request.fromPage && isOwn ? Verdict::Granted : Verdict::WrongOrigin;
}

std::string WebAccess::cookie() const {
  return cookieName_ + '=' + token_ + "; Path=/; HttpOnly; SameSite=Strict";
}

} // namespace velto

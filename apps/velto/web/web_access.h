#pragma once

#include <string>
#include <string_view>

namespace velto {

/// Who may see the page and change something. All decisions about a request are here; the server
/// only reads its headers.
class WebAccess {
public:
  struct Request {
    std::string host; ///< headers, empty when there is none
    std::string origin;
    std::string authorization;
    std::string cookie;
    bool changes = false;  ///< it is to change something: a POST
    bool fromPage = false; ///< it has the header that only scripts of the page itself can set
  };
  enum class Verdict {
    Granted,
    WrongHost, ///< the page was reached by a name that is not this computer's
    NoToken,
    WrongOrigin, ///< another page asks for a change
  };

  WebAccess(std::string token, std::string cookieName)
      : token_(std::move(token)), cookieName_(std::move(cookieName)) {}

  Verdict judge(const Request &request) const;
  bool needsToken() const { return !token_.empty(); }
  /// In a time that does not tell how much of it is right.
  bool isToken(std::string_view word) const;
  /// The header that makes a browser remember the token.
  std::string cookie() const;

private:
  bool hasToken(const Request &request) const;

  const std::string token_; ///< empty: none is needed
  const std::string cookieName_;
};

/// Whether an address or host name is that of this computer for itself.
bool isLoopback(std::string_view address);

} // namespace velto

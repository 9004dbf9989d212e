#include "apps/velto/web/web_options.h"

#include "apps/velto/web/web_access.h"
#include "base/quoted_text.h"
#include "base/text.h"

#include <algorithm>

namespace velto {

namespace {

constexpr size_t kShortestToken = 12;

std::string takeToken(const std::string &word, WebOptions &options) {
  const auto isPlain = [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '-' ||
           c == '_' || c == '.' || c == '~';
  };
  if (word.size() < kShortestToken || !std::ranges::all_of(word, isPlain))
    return "is made of " + std::to_string(kShortestToken) +
           " or more letters, digits and the characters - _ . ~";
  options.token = word;
  return "";
}

} // namespace

std::string takeWebAddress(std::string_view word, WebOptions &options) {
  const size_t colon = word.rfind(':');
  const std::string_view number = colon == std::string_view::npos ? word : word.substr(colon + 1);
  std::string_view address =
      colon == std::string_view::npos ? std::string_view(options.address) : word.substr(0, colon);
  if (address.starts_with('[') && address.ends_with(']'))
    address = address.substr(1, address.size() - 2);
  const auto port = wholeNumber(number, 0, 0xFFFF);
  if (!port || address.empty())
    return quotedText(word) + " is no PORT or ADDRESS:PORT";
  options.address = std::string(address);
  options.port = static_cast<int32_t>(*port);
  return "";
}

void declareWebOptions(CommandLine &line, WebOptions &options) {
  line.option(
      "--web", "[ADDRESS:]PORT",
      [&options](const std::string &word) { return takeWebAddress(word, options); },
      "serves a page for browsers, and numbers for Prometheus at /metrics; to this computer alone "
      "unless an ADDRESS is given; port 0: any free one, which is printed");
  line.option(
      "--web-token", "TOKEN",
      [&options](const std::string &word) { return takeToken(word, options); },
      "whoever opens the page has to know it: http://ADDRESS:PORT/?token=TOKEN");
  line.need("--web-token", "--web");
}

std::string webOptionsProblem(const WebOptions &options) {
  return options.port && options.token.empty() && !isLoopback(options.address)
             ? "--web at an address that others reach needs a --web-token"
             : "";
}

} // namespace velto

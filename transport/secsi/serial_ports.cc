#include "transport/secsi/serial_ports.h"

#include "base/text.h"

#include <charconv>
#include <cstdlib>

namespace velto {

int SerialPorts::number(std::string_view name) {
  constexpr std::string_view kDevices = "\\\\.\\";
  constexpr std::string_view kPrefix = "com";
  if (name.starts_with(kDevices))
    name.remove_prefix(kDevices.size());
  if (!equalsIgnoreCase(name.substr(0, kPrefix.size()), kPrefix))
    return 0;
  name.remove_prefix(kPrefix.size());
  int number = 0;
  const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
  return error == std::errc{} && end == name.data() + name.size() && number > 0 ? number : 0;
}

void SerialPorts::map(int number, std::string path) {
  if (path.empty())
    mapped_.erase(number);
  else
    mapped_[number] = std::move(path);
}

std::string SerialPorts::devicePath(std::string_view name) const {
  const int port = number(name);
  if (port == 0)
    return std::string(name);
  if (const auto mapped = mapped_.find(port); mapped != mapped_.end())
    return mapped->second;
  const char *path = std::getenv(("VELTO_COM" + std::to_string(port)).c_str());
  if (path != nullptr && *path != '\0')
    return path;
  return "/dev/ttyS" + std::to_string(port - 1);
}

const SerialPorts &systemPorts() {
  static const SerialPorts ports;
  return ports;
}

} // namespace velto

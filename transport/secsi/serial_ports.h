#pragma once

#include <map>
#include <string>
#include <string_view>

namespace velto {

/// The serial ports of a host, by number from 1, and the devices behind them: "com1" is
/// /dev/ttyS0, "com2" /dev/ttyS1 and so on, unless the environment variable VELTO_COM1,
/// VELTO_COM2… or map() names another device.
///
/// Those who open ports refer to it, so it outlives them. Like all of theirs it belongs to the
/// thread of their loop.
class SerialPorts {
public:
  /// Makes port `number` the device `path`, whatever the environment says; an empty path takes that
  /// back. Open ports stay as they are.
  void map(int number, std::string path);
  /// The device behind a port name ("com3", also "\\.\com3"); any other name is a path itself.
  std::string devicePath(std::string_view name) const;

  /// The number in a port name ("com3", also "\\\\.\\com3"); 0 for any other name.
  static int number(std::string_view name);
  /// The name of a port by its index: 0 is "com1".
  static std::string name(int index) { return "com" + std::to_string(index + 1); }

private:
  std::map<int, std::string> mapped_;
};

/// Ports of which none is mapped.
const SerialPorts &systemPorts();

} // namespace velto

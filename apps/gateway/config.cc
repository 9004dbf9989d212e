#include "apps/gateway/config.h"

#include "apps/gateway/toml_reader.h"
#include "apps/gateway/tool_reader.h"
#include "base/text.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <map>
#include <set>

namespace velto::gateway {

namespace {

constexpr int32_t kMostMegabytes = 1'000'000;
constexpr int32_t kPort = 1883; // of MQTT
constexpr int32_t kTlsPort = 8883;
constexpr std::string_view kRootKeys[] = {"site",    "name",     "prefix", "shard", "statistics",
                                          "metrics", "alive",    "sink",   "file",  "mqtt",
                                          "outbox",  "template", "tool"};

/// Reads the whole of a file.
class ConfigReader {
public:
  ConfigReader(TomlReader::File &file, const toml::table &root, std::filesystem::path folder)
      : root_(file, "", root), folder_(std::move(folder)), file_(file) {}

  Config read() {
    root_.only(kRootKeys);
    readOut();
    readShard();
    readTemplates();
    readTools();
    return std::move(config_);
  }

private:
  // Files are looked for beside the configuration.
  void path(const TomlReader &reader, std::string_view key, std::string &value) const {
    const std::string before = value;
    reader.text(key, value);
    if (value != before)
      value = (folder_ / value).string();
  }

  // The first line of a file that holds a user or a password.
  void secret(const TomlReader &reader, std::string_view key, std::string &value) const {
    std::string name;
    path(reader, key, name);
    if (name.empty())
      return;
    const auto text = systemFiles().read(name);
    if (!text)
      return reader.wrong(key, name + " cannot be read");
    value = text->substr(0, text->find_first_of("\r\n"));
  }

  void level(std::string_view key, std::string &value) const {
    root_.text(key, value);
    if (topicLevel(value) != value)
      root_.wrong(key, "letters, digits, - and _ make a level of a topic");
  }

  void readOut() {
    OutConfig &out = config_.out;
    level("site", out.site);
    level("name", out.name);
    level("prefix", out.prefix);
    root_.number("statistics", 0, kLongestTime, out.statistics);
    root_.text("metrics", out.metrics);
    path(root_, "alive", out.alive);
    std::string sink = "stdout";
    root_.text("sink", sink);
    if (sink == "file")
      out.sink = SinkKind::File;
    else if (sink == "mqtt")
      out.sink = SinkKind::Mqtt;
    else if (sink != "stdout")
      root_.wrong("sink", "stdout, file or mqtt is needed");
    readFile(out.file, out.sink == SinkKind::File);
    readMqtt(out.mqtt);
    readOutbox(out.outbox);
    if (out.mqtt.client.empty())
      out.mqtt.client = out.prefix + '-' + out.site + '-' + out.name;
  }

  void readFile(FileConfig &file, bool needed) const {
    constexpr std::string_view kKeys[] = {"path", "megabytes", "keep"};
    const auto reader = root_.inner("file");
    if (!reader) {
      if (needed)
        root_.wrong("sink", "a table [file] with a path is needed");
      return;
    }
    reader->only(kKeys);
    path(*reader, "path", file.path);
    if (!reader->has("path"))
      reader->wrong("", "path is missing");
    reader->number("megabytes", 1, kMostMegabytes, file.megabytes);
    reader->number("keep", 1, 1000, file.keep);
  }

  void readMqtt(MqttConfig &mqtt) const {
    constexpr std::string_view kKeys[] = {"brokers",    "client", "user_file", "password_file",
                                          "keep_alive", "window", "largest",   "tls"};
    constexpr std::string_view kTlsKeys[] = {"ca", "certificate", "key"};
    const auto reader = root_.inner("mqtt");
    if (!reader) {
      mqtt.brokers.emplace_back("localhost", kPort);
      return;
    }
    reader->only(kKeys);
    mqtt.tls = reader->has("tls");
    readBrokers(*reader, mqtt);
    reader->text("client", mqtt.client);
    secret(*reader, "user_file", mqtt.user);
    secret(*reader, "password_file", mqtt.password);
    reader->number("keep_alive", 5, 3600, mqtt.keepAlive);
    reader->number("window", 1, 65'000, mqtt.window);
    reader->number("largest", 1000, MqttConfig::kLargestPayload, mqtt.largest);
    const auto tls = reader->inner("tls");
    if (!tls)
      return;
    tls->only(kTlsKeys);
    path(*tls, "ca", mqtt.ca);
    path(*tls, "certificate", mqtt.certificate);
    path(*tls, "key", mqtt.key);
    if (mqtt.ca.empty())
      tls->wrong("", "ca is missing: the file of the authorities whose brokers are trusted");
    if (mqtt.certificate.empty() != mqtt.key.empty())
      tls->wrong("", "certificate and key go together");
    for (const auto &[key, file] :
         {std::pair("ca", mqtt.ca), std::pair("certificate", mqtt.certificate),
          std::pair("key", mqtt.key)})
      if (!file.empty() && !systemFiles().read(file))
        tls->wrong(key, file + " cannot be read");
  }

  // HOST:PORT or HOST.
  void readBrokers(const TomlReader &reader, MqttConfig &mqtt) const {
    std::vector<std::string> addresses{"localhost"};
    reader.texts("brokers", addresses);
    if (addresses.empty())
      reader.wrong("brokers", "at least one is needed");
    for (const std::string &address : addresses) {
      const size_t colon = std::min(address.rfind(':'), address.size());
      const auto port = colon == address.size()
                            ? std::optional<int32_t>(mqtt.tls ? kTlsPort : kPort)
                            : wholeNumber(std::string_view(address).substr(colon + 1), 1, 0xFFFF);
      if (colon == 0 || !port)
        reader.wrong("brokers", '"' + address + "\" is no HOST or HOST:PORT");
      mqtt.brokers.emplace_back(address.substr(0, colon), port.value_or(0));
    }
  }

  void readOutbox(OutboxConfig &outbox) const {
    constexpr std::string_view kKeys[] = {"path", "megabytes", "days"};
    const auto reader = root_.inner("outbox");
    if (!reader)
      return;
    reader->only(kKeys);
    path(*reader, "path", outbox.path);
    if (!reader->has("path"))
      reader->wrong("", "path is missing");
    reader->number("megabytes", 1, kMostMegabytes, outbox.megabytes);
    reader->number("days", 0.001, 3650, outbox.days);
  }

  // "1/2": of two gateways the first.
  void readShard() {
    std::string shard = "1/1";
    root_.text("shard", shard);
    const size_t slash = std::min(shard.find('/'), shard.size());
    const auto count =
        wholeNumber(std::string_view(shard).substr(std::min(slash + 1, shard.size())), 1, 10'000);
    const auto mine =
        count ? wholeNumber(shard.substr(0, slash), 1, *count) : std::optional<int32_t>();
    if (!mine)
      return root_.wrong("shard", "\"1/2\" is needed for the first of two gateways, and so on");
    shard_ = *mine - 1;
    shards_ = *count;
  }

  void readTemplates() {
    const auto all = root_.inner("template");
    if (!all)
      return;
    for (const auto &[key, node] : all->table()) {
      const auto reader = all->inner(key.str());
      if (!reader)
        continue;
      reader->only(purposeKeys());
      ToolConfig &made = templates_[std::string(key.str())];
      made.names = std::make_shared<Names>();
      ToolReader(*reader, folder_, known_).read(made);
    }
  }

  void readTools() {
    std::set<std::string> names;
    std::set<std::string> addresses;
    const auto readers = root_.tables("tool");
    for (const TomlReader &reader : readers) {
      ToolConfig tool;
      if (readTool(reader, tool) && !names.insert(tool.name).second)
        reader.wrong("name", "another tool has this name");
      if (!tool.link.address.empty() && !addresses.insert(tool.link.address).second)
        reader.wrong("address", "another tool has this address");
      if (isOurs(tool))
        config_.tools.push_back(std::move(tool));
    }
    if (readers.empty())
      root_.wrong("tool", "at least one [[tool]] is needed");
  }

  bool readTool(const TomlReader &reader, ToolConfig &tool) {
    std::string from;
    reader.text("template", from);
    const auto found = templates_.find(from);
    if (!from.empty() && found == templates_.end())
      reader.wrong("template", "there is no [template." + from + ']');
    if (found != templates_.end())
      tool = found->second;
    else
      tool.names = std::make_shared<Names>();
    std::vector<std::string_view> keys(purposeKeys().begin(), purposeKeys().end());
    keys.insert(keys.end(), {"name", "address", "template"});
    reader.only(keys);
    ToolReader(reader, folder_, known_).read(tool);
    reader.text("name", tool.name);
    reader.text("address", tool.link.address);
    if (tool.name.empty() || topicLevel(tool.name) != tool.name)
      reader.wrong("name", "a name of letters, digits, - and _ is needed");
    if (tool.name == "gateway")
      reader.wrong("name", "topics of this name are those of the gateways");
    return readAddress(reader, tool) && !tool.name.empty();
  }

  static bool readAddress(const TomlReader &reader, ToolConfig &tool) {
    const auto address = readLinkAddress(tool.link.address);
    if (!address)
      reader.wrong("address", std::string("an address is needed: ") + LinkAddress::kForms);
    tool.address = address.value_or(LinkAddress{});
    return address.has_value();
  }

  // By the name alone, so that a tool stays with its gateway when others come and go.
  bool isOurs(const ToolConfig &tool) const {
    uint32_t hash = 2166136261U; // FNV-1a
    for (const char c : tool.name)
      hash = (hash ^ static_cast<uint8_t>(c)) * 16777619U;
    return static_cast<int32_t>(hash % static_cast<uint32_t>(shards_)) == shard_;
  }

  TomlReader root_;
  const std::filesystem::path folder_;
  TomlReader::File &file_;
  KnownNames known_;
  std::map<std::string, ToolConfig> templates_;
  int32_t shard_ = 0;
  int32_t shards_ = 1;
  Config config_;
};

} // namespace

std::string OutConfig::topic(std::string_view of, std::string_view what) const {
  std::string text = prefix + '/' + site + '/';
  text += of;
  text += '/';
  return text += what;
}

std::optional<Config> readConfig(const std::string &path, std::vector<std::string> &problems) {
  const auto text = systemFiles().read(path);
  if (!text) {
    problems.push_back(path + ": cannot be read");
    return std::nullopt;
  }
  toml::table root;
  try {
    root = toml::parse(*text, path);
  } catch (const toml::parse_error &error) {
    problems.push_back(path + ':' + std::to_string(error.source().begin.line) + ": " +
                       std::string(error.description()));
    return std::nullopt;
  }
  TomlReader::File file{path, {}};
  Config config = ConfigReader(file, root, std::filesystem::path(path).parent_path()).read();
  for (auto &[line, problem] : file.problems)
    problems.push_back(std::move(problem));
  return problems.empty() ? std::optional(std::move(config)) : std::nullopt;
}

} // namespace velto::gateway

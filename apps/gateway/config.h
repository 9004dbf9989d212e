#pragma once

#include "apps/gateway/names.h"
#include "apps/velto/console/gem_link.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velto::gateway {

/// An event that a tool is to report, with the values that go with it.
struct EventWish {
  uint32_t ceid = 0;
  std::string name;           ///< as it is published; empty: as the names file has it
  std::vector<uint32_t> vids; ///< empty: with the reports that the tool has linked
  uint32_t rptid = 0;         ///< of the report that carries them; made of their numbers
  bool operator==(const EventWish &) const = default;
};

/// A trace (SEMI E5, S2F23).
struct TraceWish {
  uint32_t id = 0;
  double period = 1;    ///< s
  uint32_t samples = 0; ///< in all
  uint32_t group = 1;   ///< in a message
  std::vector<uint32_t> vids;
  bool operator==(const TraceWish &) const = default;
};

/// A limit of a variable (SEMI E5, S2F45).
struct LimitWish {
  uint32_t vid = 0;
  uint32_t id = 0;
  double lower = 0;
  double upper = 0;
  bool operator==(const LimitWish &) const = default;
};

/// Variables that are asked for again and again (SEMI E5, S1F3).
struct PollWish {
  std::string name;
  double every = 0; ///< s
  std::vector<uint32_t> vids;
  bool operator==(const PollWish &) const = default;
};

/// What a tool is asked for when it is connected.
struct Subscription {
  bool goOnline = true;
  bool spooled = true;            ///< what it has spooled is asked for
  std::vector<uint32_t> spooling; ///< streams that it is to spool; none: as it is set
  bool allEvents = false;         ///< all events that it has are enabled
  std::vector<EventWish> events;
  bool allAlarms = false;
  std::vector<uint32_t> alarms;
  std::vector<TraceWish> traces;
  std::vector<LimitWish> limits;
  std::vector<PollWish> polls;
  bool operator==(const Subscription &) const = default;
};

/// How a tool is reached.
struct LinkConfig {
  std::string address;
  int32_t device = 0;
  int32_t edition = 1;
  int32_t t3 = 45; ///< s, as all times here
  int32_t t5 = 10;
  int32_t t6 = 5;
  int32_t t7 = 10;
  int32_t linktest = kLinktestInterval;
  bool operator==(const LinkConfig &) const = default;
};

struct ToolConfig {
  std::string name;
  LinkConfig link;
  LinkAddress address; ///< what link.address says
  Subscription subscription;
  std::vector<std::string> allow; ///< requests that it takes from the bus, docs/gateway.md
  bool raw = false;               ///< publications hold the message too
  std::shared_ptr<const Names> names;

  /// The same but for how it is reached.
  bool samePurpose(const ToolConfig &other) const {
    return subscription == other.subscription && allow == other.allow && raw == other.raw &&
           *names == *other.names;
  }
};

enum class SinkKind : uint8_t { Stdout, File, Mqtt };

struct FileConfig {
  std::string path;
  int32_t megabytes = 16; ///< after which a new one is begun
  int32_t keep = 8;       ///< full files that are kept
  bool operator==(const FileConfig &) const = default;
};

struct MqttConfig {
  static constexpr int32_t kLargestPayload = 250'000'000; ///< a packet of MQTT holds little more
  /// Those of a cluster, of which the next is tried when one is not reached.
  std::vector<std::pair<std::string, int32_t>> brokers;
  std::string client; ///< client ID
  std::string user;
  std::string password;
  int32_t keepAlive = 15;            ///< s
  int32_t window = 1000;             ///< publications that may await the broker's acknowledge
  int32_t largest = kLargestPayload; ///< bytes of a payload that the broker takes
  bool tls = false;
  std::string ca; ///< files
  std::string certificate;
  std::string key;
  bool operator==(const MqttConfig &) const = default;
};

struct OutboxConfig {
  std::string path; ///< empty: there is none
  int32_t megabytes = 1024;
  double days = 7;
  bool operator==(const OutboxConfig &) const = default;
};

/// What counts from the start of the program on, not from a reload.
struct OutConfig {
  std::string prefix = "velto"; ///< first level of all topics
  std::string site = "site";
  std::string name = "gateway";
  SinkKind sink = SinkKind::Stdout;
  FileConfig file;
  MqttConfig mqtt;
  OutboxConfig outbox;
  int32_t statistics = 10; ///< s between two states of the gateway; 0: when it changes
  std::string metrics;     ///< ADDRESS:PORT where counters are told by HTTP; empty: nowhere
  std::string alive;       ///< file that is written with each state of the gateway; empty: none
  bool operator==(const OutConfig &) const = default;

  /// Topics of the gateway and of a tool: `velto/SITE/NAME/` and what is told.
  std::string topic(std::string_view of, std::string_view what) const;
};

struct Config {
  OutConfig out;
  std::vector<ToolConfig> tools; ///< those of this shard
};

/// Reads a configuration. Nothing when anything is wrong with it; each of `problems` says in which
/// file, line and key, and what.
std::optional<Config> readConfig(const std::string &path, std::vector<std::string> &problems);

} // namespace velto::gateway

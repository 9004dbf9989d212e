#pragma once

#include "apps/velto/console/gem_link.h"
#include "controls/gem_ctrl.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace velto {

/// What all equipments of a fleet have in common.
struct FleetPlan {
  std::string model;              ///< name of the model data file, in the fleet's files
  std::vector<uint32_t> events;   ///< CEIDs that are invoked in turn
  std::vector<uint32_t> readings; ///< VIDs of numbers that wander with each event
  uint32_t counter = 0;           ///< VID that counts the events of each equipment; 0: none
  uint64_t first = 1;             ///< number of the first event
  bool spools = false;
};

/// One equipment of a fleet: it answers its host by the model, and invokes an event when it is
/// told.
class FleetTool {
public:
  /// Hears of each event that the host has acknowledged (S6F12): the count that it went out with,
  /// and the milliseconds that it took.
  using Acknowledged = std::function<void(const FleetTool &tool, uint64_t count, uint32_t time)>;

  FleetTool(EventLoop &loop, FileSystem &files, const FleetPlan &plan, std::string name,
            Acknowledged acknowledged);
  FleetTool(const FleetTool &) = delete;
  FleetTool &operator=(const FleetTool &) = delete;

  void open(const LinkAddress &address);
  void close();
  const std::string &name() const { return name_; }
  /// The port that it listens on; 0 while it does not.
  int32_t port() { return control_.engine().physical().LocalPort(); }
  bool communicates() const;
  /// Moves the readings and invokes the next event. False when it did not go out.
  bool act();

private:
  struct Waiting {
    uint64_t count;
    uint32_t since; ///< tick
  };

  void sent();
  void received();

  EventLoop &loop_;
  const FleetPlan &plan_;
  const std::string name_;
  const Acknowledged acknowledged_;
  CVeltoGemCtrl control_;
  uint64_t count_;  ///< number of the event that was invoked last
  size_t next_ = 0; ///< index of the event that was invoked last
  uint32_t seed_;
  std::map<uint32_t, uint64_t> counts_; ///< numbers of events by their DATAID
  std::map<uint32_t, Waiting> waiting_; ///< by system bytes
};

} // namespace velto

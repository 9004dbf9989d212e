#pragma once

#include "controls/gem_ctrl_requests.h"
#include "platform/event_loop.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velto {

/// What a host has subscribed of an equipment's collection events, how it comes about (names, then
/// for each event S2F35, S2F33 and S2F37, one request at a time), and who hears of each S6F11.
///
/// Handlers may destroy the control: nothing is looked at behind one before close() was ruled out.
class GemSubscriptions : public std::enable_shared_from_this<GemSubscriptions> {
public:
  using Handler = GemCtrlRequests::EventHandler;

  /// The engine is asked for until close().
  GemSubscriptions(EventLoop &loop, GemRequests &requests, std::function<CHGemEngine &()> engine);

  int32_t add(GemId ceid, std::vector<GemId> vids, Handler handler);
  bool remove(int32_t number);
  /// Communications are established and nothing is left to be done.
  bool inForce() const { return mayWork() && !asked_ && work_.empty() && !again_; }
  /// Communications are established, or ended.
  void established();
  void ended();
  /// The control goes.
  void close() { closed_ = true; }

  /// The body of a message that reports an event somebody has subscribed.
  std::optional<CHSecsItem> read(const CHSecsMessage &message) const;
  /// Tells of such a body, or keeps it until the names are there.
  void take(CHSecsItem &&body);

private:
  struct Subscription {
    int32_t number;
    GemId ceid;
    uint32_t rptid;
    std::vector<GemId> vids;
    Handler handler;
    bool active = true;
  };
  enum class Step : uint8_t { // in their order
    StatusNames,
    DataNames,
    ConstantNames,
    EventNames,
    Unlink,
    Delete,
    Define,
    Link,
    Enable,
  };
  struct Work {
    Step step;
    GemId ceid;
  };
  using Names = std::map<GemId, std::string>;

  static bool asksNames(const Work &work) { return work.step <= Step::EventNames; }
  CHGemEngine &engine() const { return engine_(); }
  bool mayWork() const;
  void plan(const GemId &ceid);
  void planAll();
  void start();
  void endSession();
  void work();
  std::string messageOf(const Work &work) const;
  std::string namesRequest(Step step) const;
  void answered(const Work &work, const GemReply &reply);
  void refused(const Work &work, const std::string &reason);
  static void learn(Names &names, const CHSecsMessage &told);
  std::vector<GemId> unnamed() const;
  std::vector<GemId> unnamedEvents() const;
  std::string nameOf(const GemId &vid) const;
  std::string eventNameOf(const GemId &ceid) const;
  bool awaitsNames() const;
  void tellWaiting();
  void tell(const CHSecsItem &body);
  GemEvent eventFor(const Subscription &subscription, const CHSecsItem &body) const;

  EventLoop &loop_;
  GemRequests &requests_;
  std::function<CHGemEngine &()> engine_;
  std::vector<std::shared_ptr<Subscription>> subscriptions_;
  int32_t count_ = 0;
  std::multimap<GemId, uint32_t> gone_; // RPTIDs by CEID that the equipment is to delete
  Names names_;                         // by VID, as the equipment told them
  Names eventNames_;                    // likewise by CEID
  std::deque<Work> work_;
  std::optional<Work> asked_; // its reply is awaited
  uint32_t session_ = 0;      // counts communications: a reply of earlier ones says nothing
  std::deque<CHSecsItem> waiting_;
  bool again_ = false; // all of it is to be done again
  bool closed_ = false;
  Timer timer_;
};

} // namespace velto

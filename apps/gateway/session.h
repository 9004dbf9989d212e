#pragma once

#include "apps/gateway/config.h"
#include "apps/gateway/payload.h"
#include "controls/gem_ctrl.h"

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace velto::gateway {

/// Has a tool report what the configuration asks for, whenever communications are established: goes
/// on-line, defines, links and enables reports, alarms, traces and limits, one request at a time.
///
/// What the tool has kept from earlier stays: a report that is defined already is the same one, as
/// its number is made of its contents, and reports of others that are linked to an event stay with
/// it.
class Session {
public:
  struct Events {
    std::function<void(const std::string &text)> problem; ///< what the tool refuses
    std::function<void()> ready;                          ///< all has been asked for
    /// It is off-line, or is not any more.
    std::function<void(bool online)> online;
  };

  Session(EventLoop &loop, CVeltoGemCtrl &control, const Payloads &payloads, Events events);
  Session(const Session &) = delete;
  Session &operator=(const Session &) = delete;

  /// Begins, or begins anew. The subscription has to outlive this, or the next call.
  void start(const Subscription &subscription, bool askForSpooled);
  /// Communications have ended.
  void stop();
  bool running() const { return subscription_ != nullptr; }
  /// Asks for what the tool has spooled, when all else has been asked for.
  void askForSpooled();
  const Payloads::Reports &reports() const { return reports_; }

private:
  using Handle = std::function<void(const GemReply &reply)>;

  void next();
  void ask(std::string sml, Handle handle);
  void goOnline();
  /// Asks for several things in one message, and for each by itself when the tool refuses it.
  /// `refused` says what becomes of one that is refused, by its acknowledge.
  struct Batch {
    std::string name; ///< what people call it
    std::string head; ///< of the SML
    std::string tail;
    std::vector<std::string> parts;
    std::function<bool(size_t part, uint32_t code)> kept; ///< it is there already, or is seen to
  };
  void askAll(std::shared_ptr<const Batch> batch);
  void askOne(std::shared_ptr<const Batch> batch, size_t part);
  void planReports();
  void planAlarms();
  void planTraces();
  void planLimits();
  void planSpool();
  void askWhatIsLinked(const EventWish &event);
  void linkAnew(const EventWish &event, const std::vector<uint32_t> &rptids);

  CVeltoGemCtrl &control_;
  const Payloads &payloads_;
  const Events events_;
  const Subscription *subscription_ = nullptr;
  bool busy_ = false;   ///< a step is under way
  uint32_t number_ = 0; ///< counts starts: an answer to an earlier one says nothing
  std::deque<std::function<void()>> steps_;
  Payloads::Reports reports_;
  Timer retry_;
};

} // namespace velto::gateway

#pragma once

#include "apps/velto/script/statement.h"
#include "controls/component/control.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velto::script {

/// Makes a control of the kind `name`; null when there is no such kind.
using ControlFactory =
    std::function<std::unique_ptr<Control>(std::string_view name, const ControlSite &site)>;

/// The controls of a script by name, the handlers of their events, and the waits for events.
///
/// A handler may do anything, such as delete its control, replace itself, or wait: the stage keeps
/// no pointer into its tables while a handler runs.
class Stage {
public:
  /// Called for each event before its handlers.
  using EventSink =
      std::function<void(const std::string &control, const Member &event, Arguments arguments)>;
  /// Runs one handler.
  using HandlerSink = std::function<void(const std::shared_ptr<const Body> &body,
                                         const Member &event, Arguments arguments)>;

  Stage(ControlFactory factory, EventSink onEvent, HandlerSink onHandler);
  ~Stage();
  Stage(const Stage &) = delete;
  Stage &operator=(const Stage &) = delete;

  /// The reason why the control cannot be added or removed; empty on success.
  std::string add(const std::string &name, const std::string &kind, const ControlSite &site);
  std::string remove(const std::string &name);
  /// Makes a control that the program owns known under a free name. Commands cannot delete it, and
  /// its events are handed to handlers but not to the event sink. It must outlive this object.
  void adopt(const std::string &name, Control &control);
  static std::string noControl(const std::string &name) { return "there is no control " + name; }
  /// Null when there is no such control. A callback may delete the control: find it again after
  /// one.
  Control *find(const std::string &name) const;

  /// All of them by name.
  std::vector<std::pair<std::string, Control *>> controls() const;

  /// False when the control is not there. `event` is one of the control's.
  bool addHandler(const std::string &name, const Member &event, std::shared_ptr<const Body> body);
  bool removeHandlers(const std::string &name, const Member &event);

  /// Notices whether an event comes while it exists.
  class Awaited {
  public:
    Awaited(Stage &stage, const std::string &name, const Member &event);
    ~Awaited();
    Awaited(const Awaited &) = delete;
    Awaited &operator=(const Awaited &) = delete;
    bool came() const { return came_; }
    bool controlGone() const { return gone_; }

  private:
    friend class Stage;
    Stage &stage_;
    const Control *control_;
    const Member &event_;
    bool came_ = false;
    bool gone_ = false;
  };

private:
  struct Handler {
    const Member &event;
    std::shared_ptr<const Body> body;
    bool active = true; ///< false once removed, even if its event is being handled
  };
  struct Entry {
    std::unique_ptr<Control> owned; ///< null for a control that the program owns
    Control *control = nullptr;
    std::vector<std::shared_ptr<Handler>> handlers;
  };

  void handle(const std::string &name, const Member &event, Arguments arguments);
  void keep(const std::string &name, Entry entry);
  void retire(Entry &entry);

  ControlFactory factory_;
  EventSink onEvent_;
  HandlerSink onHandler_;
  std::map<std::string, Entry> entries_;
  std::vector<Awaited *> awaited_;
};

} // namespace velto::script

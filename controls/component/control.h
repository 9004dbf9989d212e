#pragma once

#include "base/lifetime.h"
#include "controls/component/member_table.h"
#include "controls/component/property_bag.h"
#include "platform/event_loop.h"
#include "platform/file.h"
#include "transport/secsi/serial_ports.h"
#include "ui/dialog.h"
#include "ui/view_changes.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velto {

/// What a control needs of the process that hosts it. A loop alone will do:
/// `CVeltoHsmsCtrl link(loop);`. All of it outlives the controls.
struct ControlSite {
  ControlSite(EventLoop &eventLoop, FrontEnd &operatorFrontEnd = headlessFrontEnd(),
              FileSystem &fileSystem = systemFiles(),
              const SerialPorts &serialPorts = systemPorts())
      : loop(eventLoop), frontEnd(operatorFrontEnd), files(fileSystem), ports(serialPorts) {}

  EventLoop &loop;
  FrontEnd &frontEnd;
  FileSystem &files;
  const SerialPorts &ports; ///< the devices of VeltoComm and VeltoSecsI
};

/// Why a late-bound access failed.
enum class AccessFault { None, NoSuchMember, NotWritable, WrongArguments, WrongType };

/// The outcome of a late-bound access: a value, or the reason why there is none.
struct Outcome {
  Variant value;
  std::string error; ///< empty on success
  AccessFault fault = AccessFault::None;
  explicit operator bool() const { return error.empty(); }
};

/// The base of the controls: late-bound access to the members of the class's table, events, the
/// property bag and the window.
///
/// A control may be destroyed from inside any of its events.
class Control {
public:
  explicit Control(const ControlSite &site) : site_(site), viewChanges_(site.loop) {}
  virtual ~Control() = default;
  Control(const Control &) = delete;
  Control &operator=(const Control &) = delete;

  virtual const MemberTable &members() const = 0;

  /// Reads a property (an indexed one with its index as arguments).
  Outcome get(std::string_view name, Arguments index = {});
  Outcome get(int id, Arguments index = {});
  /// Writes a property; the value converts to the declared type.
  Outcome set(std::string_view name, const Variant &value, Arguments index = {});
  Outcome set(int id, const Variant &value, Arguments index = {});
  /// Calls a method.
  Outcome call(std::string_view name, Arguments arguments = {});
  Outcome call(int id, Arguments arguments = {});

  /// Sees every event after the typed handler ran. It may be replaced from inside an event.
  using Observer = std::function<void(const Member &event, Arguments arguments)>;
  void observe(Observer observer);

  /// True since a persisted property changed, until the bag is saved or loaded.
  bool modified() const { return modified_; }
  /// Writes the persisted properties and clears the modified flag. Those with ids from 200 on are
  /// left out where they have their default.
  PropertyBag save();
  /// Sets the persisted properties that differ from the bag in table order, those that it lacks to
  /// their defaults, and clears the modified flag.
  void load(const PropertyBag &bag);

  /// The control's window as text; empty for a control whose window shows nothing.
  virtual std::string window() const { return ""; }
  /// The same as a tree; nothing when the window is none.
  virtual std::optional<TreeView> windowTree() const { return std::nullopt; }
  /// Tells when the window looks different. The control may be destroyed by the observer.
  ViewChanges &viewChanges() { return viewChanges_; }

  int16_t Appearance() const { return appearance_; }
  void SetAppearance(int16_t value);
  int16_t BorderStyle() const { return borderStyle_; }
  void SetBorderStyle(int16_t value);
  /// Shows the property page of the persisted properties; true when the operator accepted it.
  bool ShowPropertyPage();
  /// Shows a box with the control's name and the version.
  void AboutBox();

  /// The members that every control has; Members adds them to each table.
  static std::vector<Member> stockMembers();

protected:
  const ControlSite &site() const { return site_; }
  Lifetime &lifetime() { return lifetime_; }
  /// Shows a sheet of this control. True when the operator accepted it and every field can hold its
  /// value. False, and the control may be gone, when the sheet was cancelled; at once while another
  /// sheet of the control is open.
  bool showSheet(PropertySheet &sheet);
  /// Called before a bag is loaded.
  virtual void prepareLoad() {}
  /// What the bag keeps of a persisted property: its value, unless the class knows better.
  virtual Variant persistedValue(const Member &member) { return member.get(*this, {}); }
  /// What the bag keeps beside the properties.
  virtual void saveExtras(PropertyBag &) const {}
  virtual void loadExtras(const PropertyBag &) {}
  /// For the setters of properties.
  void setModified() {
    modified_ = true;
    viewChanged();
    onModified();
  }
  /// For all else that changes what the window shows.
  void viewChanged() { viewChanges_.report(); }
  /// A property was set: what depends on it may look at it anew.
  virtual void onModified() {}

private:
  template <typename...> friend class Event;
  void notify(int eventId, Arguments arguments);
  bool observed() const { return observer_ != nullptr; }
  Outcome unknown(Member::Kind kind, std::string_view name) const;
  Outcome read(const Member &member, Arguments index);
  Outcome write(const Member &member, const Variant &value, Arguments index);
  Outcome invoke(const Member &member, Arguments arguments);

  ControlSite site_;
  Lifetime lifetime_;
  ViewChanges viewChanges_;
  std::shared_ptr<const Observer> observer_;
  bool modified_ = false;
  bool sheetOpen_ = false;
  int16_t appearance_ = 0;
  int16_t borderStyle_ = 0;
};

/// An event of a control: assign a handler, and the control raises it.
///
///     link.onReceived = [](const std::string &ip, int32_t port, const std::string &message) {…};
template <typename... A> class Event {
public:
  Event(Control &owner, int id) : owner_(owner), id_(id) {}
  Event(const Event &) = delete;
  Event &operator=(const Event &) = delete;

  /// An empty function is no handler.
  template <typename F> Event &operator=(F handler) {
    Handler function(std::move(handler));
    handler_ = function ? std::make_shared<const Handler>(std::move(function)) : nullptr;
    return *this;
  }
  Event &operator=(std::nullptr_t) {
    handler_.reset();
    return *this;
  }

  /// Calls the handler, then the control's observer. The handler may destroy the control, or what
  /// the arguments refer to: the observer gets the values of before. What led to the event has
  /// changed the window, and so may the handler.
  void raise(const A &...arguments) {
    Lifetime::Watch alive(owner_.lifetime_);
    owner_.viewChanged();
    std::vector<Variant> values;
    if (owner_.observed())
      values = {Variant(arguments)...};
    if (const auto handler = handler_)
      (*handler)(arguments...);
    if (alive && values.size() == sizeof...(A))
      owner_.notify(id_, values);
    if (alive)
      owner_.viewChanged();
  }

private:
  using Handler = std::function<void(const A &...)>;

  Control &owner_;
  int id_;
  std::shared_ptr<const Handler> handler_;
};

} // namespace velto

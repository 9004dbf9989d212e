#pragma once

#include "controls/gem_ctrl.h"
#include "gem/engine/engine.h"
#include "ui/dialog.h"

#include <functional>
#include <string>

namespace velto {

/// Copies of the lists of the equipment model.
struct ModelLists {
  CHGemEventCeidList events;
  CHGemEventVidList variables;
  CHGemAlarmAlidList alarms;

  void CopyFrom(const GemData &data) {
    events.CopyFrom(data.events);
    variables.CopyFrom(data.variables);
    alarms.CopyFrom(data.alarms);
  }
};

/// What the pages of one sheet share. It refers to nothing of the control, which may be gone before
/// the sheet is closed.
struct SetupDesk {
  FrontEnd &frontEnd;
  ModelLists shown;              ///< as they were when the sheet opened
  ModelLists edited;             ///< what the pages work on
  std::function<void()> refresh; ///< brings every page up to date with `edited`
};

/// What has been changed by applying a sheet.
struct SetupChanges {
  bool settings = false; ///< link, log, device ID, role: what the INI file keeps
  bool model = false;    ///< what the data file keeps
  bool lists = false;    ///< of that: lists, roles or the time format
  bool any() const { return settings || model; }
};

/// One page of the Gem control's setup sheet.
class SetupPage {
public:
  explicit SetupPage(SetupDesk &desk) : desk_(desk) {}
  virtual ~SetupPage() = default;
  SetupPage(const SetupPage &) = delete;
  SetupPage &operator=(const SetupPage &) = delete;

  /// Fills the page, which stays where it is as long as this object lives.
  void open(CVeltoGemCtrl &control, PropertyPage &page) {
    page_ = &page;
    fill(control);
    refresh();
  }
  /// Shows the copies as they now are.
  virtual void refresh() {}
  /// Why the page's fields cannot be accepted together; empty when they can.
  virtual std::string problem() const { return ""; }
  /// Makes the changes of the operator, and no others, in the live control: what the page shows may
  /// have moved on meanwhile.
  virtual void apply(CVeltoGemCtrl &control, SetupChanges &changes) const = 0;

protected:
  virtual void fill(CVeltoGemCtrl &control) = 0;
  PropertyPage &page() const { return *page_; }
  SetupDesk &desk() const { return desk_; }

private:
  SetupDesk &desk_;
  PropertyPage *page_ = nullptr;
};

} // namespace velto

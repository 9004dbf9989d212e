#pragma once

#include "controls/pages/setup_page.h"

#include <memory>
#include <span>
#include <vector>

namespace velto {

/// The setup sheet of a Gem control: the pages and their copies, and how they are applied.
class GemSetup {
public:
  /// A page by its bit in the option flag.
  struct PageInfo {
    int32_t bit;
    const char *title;
  };
  /// The pages that need no model: model, HSMS, timeouts, log.
  static constexpr int32_t kLinkPages = 0x207;
  /// All pages, in the order of the sheet.
  static std::vector<PageInfo> allPages();

  /// Opens the pages that the option flag names and the control has: without an equipment model
  /// only those of link and log.
  GemSetup(CVeltoGemCtrl &control, FrontEnd &frontEnd, int32_t options);

  /// The sheet to show; it stays where it is.
  PropertySheet &sheet() { return sheet_; }

  struct Applied {
    bool changed = false;
    bool constants = false; ///< the value of an equipment constant is another one
    std::string problem;    ///< what could not be written; empty when all was
  };
  /// Makes the operator's changes in the control and writes its files. Settings come first, then
  /// the lists, parameters, roles and the clock. When the events or variables were on the sheet and
  /// a list, role or the time format changed, all reports are deleted: the host has to define them
  /// again.
  Applied apply(CVeltoGemCtrl &control);

private:
  enum Step : int;
  struct Row;
  struct Opened {
    const Row *row;
    std::unique_ptr<SetupPage> page;
  };
  static std::span<const Row> rows();

  bool contains(int32_t bits) const;
  void applyStep(int step, CVeltoGemCtrl &control, SetupChanges &changes) const;
  bool changedConstants(CVeltoGemCtrl &control) const;
  std::string save(CVeltoGemCtrl &control, const SetupChanges &changes) const;

  SetupDesk desk_;
  PropertySheet sheet_;
  bool hadModel_;
  std::vector<Opened> pages_;
};

} // namespace velto

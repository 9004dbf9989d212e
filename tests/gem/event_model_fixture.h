#pragma once

#include "gem/models/event_model.h"
#include "gem/receive.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velto {

/// Variables 1 (status, "it's"), 2 (status, seconds), 3 (constant, 10 to 20), 4 (constant, text),
/// 5 (data); report 1 of 1 and 5, report 2 of 3; event 10 linked to 2 and 1, event 11 without
/// links, event 12 disabled.
class EventModel : public testing::Test {
protected:
  EventModel() {
    addVariable(1, StatusVariable, SecsAscii, "it's").setDescription("Lot's ID");
    addVariable(2, StatusVariable, SecsFloat, "1.5").setUnit("s");
    CHGemEventVid &limit = addVariable(3, EquipmentConstant, SecsDWord, "15");
    limit.setMinimum("10");
    limit.setMaximum("20");
    limit.setDescription("Limit");
    addVariable(4, EquipmentConstant, SecsAscii, "old");
    addVariable(5, DataVariable, SecsByte, "7");
    data.reports.Add({1, "first", {1, 5}});
    data.reports.Add({2, "", {3}});
    for (const uint32_t ceid : {10U, 11U, 12U})
      model.RegisterCEID(ceid, kNoRole, "event");
    data.events.FindCeid(11)->role = RoleGoToLocal;
    data.events.FindCeid(10)->reports = {2, 1};
    data.events.FindCeid(12)->enable = false;
    model.clearModified();
  }

  CHGemEventVid &addVariable(uint32_t vid, uint8_t kind, uint8_t type, std::string_view value) {
    CHGemEventVid variable;
    variable.vid = vid;
    variable.kind = kind;
    variable.nodeType = type;
    variable.SetValue(value);
    return data.variables.Add(std::move(variable));
  }

  /// All that a request may change, as text.
  std::string state() const {
    TreeView tree;
    model.addStatus(tree.add(""));
    return toText(tree) + toText(data.events.view());
  }
  std::vector<std::string> sent() {
    std::vector<std::string> lines = owner.take();
    for (std::string &line : lines)
      line = line.starts_with("send ") ? line.substr(5) : line;
    return lines;
  }
  static std::string line(std::string_view sml) { return FakeOwner::oneLine(fromSml(sml)); }

  FakeOwner owner;
  GemData &data = owner.data;
  CHGemEventModel model{owner, data};
};

} // namespace velto

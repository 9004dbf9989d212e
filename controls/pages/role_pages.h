#pragma once

#include "controls/pages/setup_page.h"

#include <span>
#include <string_view>

namespace velto {

/// A page that lists every predefined role with the variable or event that holds it. The operator
/// gives a role to another one, which takes it from the first, or takes it away.
template <typename List> class RolePage : public SetupPage {
public:
  void refresh() override;
  void apply(CVeltoGemCtrl &control, SetupChanges &changes) const override;

protected:
  struct Traits {
    const char *name; ///< "VID" or "CEID"
    std::span<const std::string_view> roles;
    List ModelLists::*copy;
    List GemData::*live;
  };

  RolePage(SetupDesk &desk, Traits traits) : SetupPage(desk), traits_(traits) {}

private:
  void fill(CVeltoGemCtrl &control) override;
  List &edited() const { return desk().edited.*traits_.copy; }
  void assign(uint8_t role);
  void takeAway(uint8_t role);

  Traits traits_;
};

extern template class RolePage<CHGemEventVidList>;
extern template class RolePage<CHGemEventCeidList>;

/// The roles of variables.
class CPropPredefinedVid final : public RolePage<CHGemEventVidList> {
public:
  explicit CPropPredefinedVid(SetupDesk &desk);
};

/// The roles of collection events.
class CPropPredefinedCeid final : public RolePage<CHGemEventCeidList> {
public:
  explicit CPropPredefinedCeid(SetupDesk &desk);
};

} // namespace velto

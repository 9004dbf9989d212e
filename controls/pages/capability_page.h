#pragma once

#include "controls/pages/link_pages.h"

namespace velto {

/// Which capabilities are on, and their settings. All are kept by the INI file.
class CPropCapabilities final : public PropertyFieldsPage {
public:
  explicit CPropCapabilities(SetupDesk &desk);
  void apply(CVeltoGemCtrl &control, SetupChanges &changes) const override;

private:
  void fill(CVeltoGemCtrl &control) override;
};

} // namespace velto

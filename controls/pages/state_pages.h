#pragma once

#include "controls/pages/setup_page.h"

#include <optional>

namespace velto {

/// MDLN and SOFTREV, which S1F2, S1F13 and S1F14 carry.
class CPropRevision final : public SetupPage {
public:
  using SetupPage::SetupPage;
  void apply(CVeltoGemCtrl &control, SetupChanges &changes) const override;

private:
  void fill(CVeltoGemCtrl &control) override;
};

/// Parameters of the communication and control state models.
class CPropState final : public SetupPage {
public:
  using SetupPage::SetupPage;
  void apply(CVeltoGemCtrl &control, SetupChanges &changes) const override;

private:
  void fill(CVeltoGemCtrl &control) override;
};

/// Whether the host sets the machine's clock, and the format of times.
class CPropClock final : public SetupPage {
public:
  using SetupPage::SetupPage;
  /// The format is that of the variable that has the role in the copy.
  void refresh() override;
  void apply(CVeltoGemCtrl &control, SetupChanges &changes) const override;

private:
  void fill(CVeltoGemCtrl &control) override;

  std::optional<uint32_t> shownVid_;
};

} // namespace velto

#pragma once

#include "controls/component/page_field.h"
#include "controls/pages/setup_page.h"

#include <utility>
#include <vector>

namespace velto {

/// Equipment model on or off, the role, and the edition of SEMI E5.
class CPropModel final : public SetupPage {
public:
  using SetupPage::SetupPage;
  std::string problem() const override;
  void apply(CVeltoGemCtrl &control, SetupChanges &changes) const override;

private:
  void fill(CVeltoGemCtrl &control) override;

  bool mayBeHost_ = false; // with the model on
};

/// A page whose fields are properties of the control.
class PropertyFieldsPage : public SetupPage {
public:
  void apply(CVeltoGemCtrl &control, SetupChanges &changes) const override;

protected:
  PropertyFieldsPage(SetupDesk &desk, std::vector<PageField> fields)
      : SetupPage(desk), fields_(std::move(fields)) {}
  void fill(CVeltoGemCtrl &control) override;

private:
  std::vector<PageField> fields_;
};

/// The connection, by whichever protocol.
class CPropHsms final : public PropertyFieldsPage {
public:
  explicit CPropHsms(SetupDesk &desk);
  void apply(CVeltoGemCtrl &control, SetupChanges &changes) const override;

private:
  void fill(CVeltoGemCtrl &control) override;
};

/// The HSMS timeouts and T3, in seconds, how a partner that is gone is noticed, and the timeouts of
/// SECS-I in milliseconds.
class CPropTimeout final : public PropertyFieldsPage {
public:
  explicit CPropTimeout(SetupDesk &desk);
  void apply(CVeltoGemCtrl &control, SetupChanges &changes) const override;

private:
  void fill(CVeltoGemCtrl &control) override;
};

/// The communication log.
class CPropLog final : public PropertyFieldsPage {
public:
  explicit CPropLog(SetupDesk &desk);
};

} // namespace velto

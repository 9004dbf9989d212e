#pragma once

#include "module/velto.h"
#include "ui/dialog.h"

namespace velto::module {

/// Shows boxes and sheets by the callbacks of the program; without any it is headless.
class CFrontEnd final : public FrontEnd {
public:
  void set(const velto_front_end *callbacks) {
    callbacks_ = callbacks != nullptr ? *callbacks : velto_front_end{};
  }

  void messageBox(const std::string &text) override;
  bool showBox(const MessageBox &box) override;
  bool showSheet(PropertySheet &sheet) override;

private:
  velto_front_end callbacks_{};
};

} // namespace velto::module

#pragma once

#include "ui/dialog.h"

#include <functional>
#include <string>
#include <vector>

namespace velto {

/// An operator who answers sheets by a function (without one, cancels) and keeps what was shown.
class Operator final : public FrontEnd {
public:
  void messageBox(const std::string &text) override { boxes.push_back(text); }
  bool showSheet(PropertySheet &sheet) override {
    titles.push_back(sheet.title);
    return answer && answer(sheet);
  }
  std::vector<std::string> boxes;
  std::vector<std::string> titles;
  std::function<bool(PropertySheet &)> answer;
};

} // namespace velto

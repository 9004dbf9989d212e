#pragma once

#include "apps/velto/screen/held_output.h"
#include "apps/velto/screen/recent_lines.h"
#include "apps/velto/screen/scroll_pane.h"
#include "apps/velto/screen/terminal.h"
#include "controls/gem_ctrl.h"
#include "gem/engine/engine.h"

#include <array>

namespace velto {

/// The picture of the live view: the states of an equipment, alarms that are set, variables with
/// their values, the last messages. Handles its keys too.
class WatchPicture {
public:
  /// Both must outlive this object.
  WatchPicture(CVeltoGemCtrl &control, const RecentLines &messages)
      : control_(control), messages_(messages) {}

  /// False when the key ends the view.
  bool press(const Key &key);
  void draw(Screen &screen);

private:
  enum Part : size_t { States, Alarms, Variables, Messages, kParts };
  using Sources = std::array<LineSource, kParts>;

  Sources sources() const;
  void drawParts(Screen &screen, const Rect &area, const Sources &lines);

  CVeltoGemCtrl &control_;
  const RecentLines &messages_;
  std::array<ScrollPane, kParts> panes_{ScrollPane("States"), ScrollPane("Alarms set"),
                                        ScrollPane("Variables"), ScrollPane("Messages", true)};
  size_t focus_ = Variables;
};

/// The live view on a terminal, redrawn twice a second. What the program prints meanwhile appears
/// after the view has ended.
class WatchView {
public:
  /// `onEnd` is called when the operator, or a signal, ends the view.
  WatchView(EventLoop &loop, CVeltoGemCtrl &control, const RecentLines &messages,
            std::function<void()> onEnd);

private:
  void handle();
  void draw();

  WatchPicture picture_;
  std::function<void()> onEnd_;
  HeldOutput out_;
  HeldOutput err_;
  Terminal terminal_;
  Timer timer_;
};

} // namespace velto

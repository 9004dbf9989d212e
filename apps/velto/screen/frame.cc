#include "apps/velto/screen/frame.h"

#include <algorithm>

namespace velto::screen {

namespace {

bool isContinuation(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

bool isControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }

size_t size(int number) { return static_cast<size_t>(std::max(number, 0)); }

} // namespace

size_t characterSize(std::string_view text, size_t at) {
  size_t end = at + 1;
  if (static_cast<unsigned char>(text[at]) >= 0xC0)
    while (end < text.size() && end - at < 4 && isContinuation(text[end]))
      ++end;
  return end - at;
}

int cellCount(std::string_view text) {
  int cells = 0;
  for (size_t at = 0; at < text.size(); at += characterSize(text, at))
    ++cells;
  return cells;
}

Frame::Frame(int width, int height)
    : width_(std::max(width, 0)), height_(std::max(height, 0)), cells_(size(width) * size(height)) {
}

Frame::Cell *Frame::cell(int x, int y) {
  if (x < 0 || y < 0 || x >= width_ || y >= height_)
    return nullptr;
  return &cells_[size(y) * size(width_) + size(x)];
}

void Frame::put(int x, int y, std::string_view text, int limit, bool reversed) {
  for (size_t at = 0; at < text.size() && limit > 0; --limit, ++x) {
    const size_t bytes = characterSize(text, at);
    if (Cell *target = cell(x, y))
      *target = {isControl(text[at]) ? "?" : std::string(text.substr(at, bytes)), reversed};
    at += bytes;
  }
}

void Frame::box(const Area &area) {
  const std::string edge = "+" + std::string(size(area.width - 2), '-') + "+";
  const std::string inside = "|" + std::string(size(area.width - 2), ' ') + "|";
  for (int row = 0; row < area.height; ++row)
    put(area.x, area.y + row, row == 0 || row == area.height - 1 ? edge : inside, area.width);
  cursorX_ = cursorY_ = -1;
}

void Frame::setCursor(int x, int y) {
  if (cell(x, y) == nullptr)
    return;
  cursorX_ = x;
  cursorY_ = y;
}

std::string Frame::text() const {
  std::string lines;
  for (int y = 0; y < height_; ++y) {
    for (int x = 0; x < width_; ++x)
      lines += cells_[size(y) * size(width_) + size(x)].character;
    lines.erase(lines.find_last_not_of(' ') + 1);
    lines += '\n';
  }
  return lines;
}

std::string Frame::sequences() const {
  std::string out = "\x1b[?25l";
  for (int y = 0; y < height_; ++y) {
    out += "\x1b[" + std::to_string(y + 1) + ";1H";
    bool reversed = false;
    for (int x = 0; x < width_; ++x) {
      const Cell &shown = cells_[size(y) * size(width_) + size(x)];
      if (shown.reversed != reversed)
        out += shown.reversed ? "\x1b[7m" : "\x1b[0m";
      reversed = shown.reversed;
      out += shown.character;
    }
    if (reversed)
      out += "\x1b[0m";
  }
  if (cursorX_ >= 0)
    out +=
        "\x1b[" + std::to_string(cursorY_ + 1) + ";" + std::to_string(cursorX_ + 1) + "H\x1b[?25h";
  return out;
}

} // namespace velto::screen

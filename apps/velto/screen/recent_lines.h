#pragma once

#include <deque>
#include <streambuf>
#include <string>

namespace velto {

/// A stream buffer that keeps the last lines printed. Of a text of several lines that is flushed at
/// once it keeps only the first.
class RecentLines final : public std::streambuf {
public:
  const std::deque<std::string> &lines() const { return lines_; }

private:
  static constexpr size_t kMost = 1000;

  int_type overflow(int_type c) override {
    if (c != traits_type::eof())
      text_ += traits_type::to_char_type(c);
    return traits_type::not_eof(c);
  }
  std::streamsize xsputn(const char *text, std::streamsize count) override {
    text_.append(text, static_cast<size_t>(count));
    return count;
  }
  int sync() override {
    if (!text_.empty())
      lines_.push_back(text_.substr(0, text_.find('\n')));
    if (lines_.size() > kMost)
      lines_.pop_front();
    text_.clear();
    return 0;
  }

  std::string text_;
  std::deque<std::string> lines_;
};

} // namespace velto

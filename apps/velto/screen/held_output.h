#pragma once

#include <ostream>
#include <sstream>

namespace velto {

/// Holds back what is printed to a stream while a screen is shown, and prints it afterwards.
class HeldOutput {
public:
  explicit HeldOutput(std::ostream &out);
  ~HeldOutput();
  HeldOutput(const HeldOutput &) = delete;
  HeldOutput &operator=(const HeldOutput &) = delete;

private:
  /// Holds the text. When it grows too long, only its last lines are kept.
  class Buffer final : public std::stringbuf {
  public:
    size_t dropped = 0; ///< bytes that were not kept

  private:
    int sync() override;
  };

  std::ostream &out_;
  Buffer buffer_;
  std::streambuf *before_;
};

} // namespace velto

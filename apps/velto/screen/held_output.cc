#include "apps/velto/screen/held_output.h"

#include <algorithm>
#include <string>

namespace velto {

namespace {

constexpr size_t kMost =
    size_t{256} * 1024; // bytes that are held; when there are more, only the last half is kept

} // namespace

int HeldOutput::Buffer::sync() {
  if (view().size() <= kMost)
    return 0;
  const std::string held = str();
  const size_t cut = std::min(held.find('\n', held.size() - kMost / 2), held.size() - 1) + 1;
  dropped += cut;
  str(held.substr(cut));
  pubseekoff(0, std::ios_base::end, std::ios_base::out);
  return 0;
}

HeldOutput::HeldOutput(std::ostream &out) : out_(out) {
  out_.flush();
  before_ = out_.rdbuf(&buffer_);
}

HeldOutput::~HeldOutput() {
  out_.rdbuf(before_);
  if (buffer_.dropped != 0)
    out_ << '[' << buffer_.dropped << " bytes of output left out]\n";
  out_ << buffer_.view();
  out_.flush();
}

} // namespace velto

#include "apps/velto/demo/demo_end.h"

#include "base/date_time.h"
#include "base/text.h"
#include "secs2/sml_printer.h"
#include "transport/secsi/block.h"

#include <algorithm>
#include <iostream>
#include <sstream>
#include <utility>

namespace velto {

namespace {

constexpr int kMostLines = 24;  // a message of up to so many lines is printed as a whole
constexpr int kFirstLines = 12; // so many lines are printed of a longer one

std::string nameOf(const CHSecsMessage &message) {
  return HeaderText(message.header, HeaderTextMode::Name);
}

std::string bodyOf(const CHSecsMessage &message) {
  return message.GetMsg().substr(2 * CHSecsHeader::kSize);
}

// The SML of a message, or its beginning if the message is long.
std::string story(const CHSecsMessage &message) {
  std::string sml = RenderSml(message);
  std::erase(sml, '\r');
  const auto lines = std::ranges::count(sml, '\n');
  if (lines <= kMostLines)
    return sml;
  std::istringstream text(sml);
  std::string shown;
  std::string line;
  for (int i = 0; i < kFirstLines && std::getline(text, line); ++i)
    shown += line + '\n';
  return shown + formatText("  ... and %d lines more\n", static_cast<int>(lines - kFirstLines));
}

} // namespace

void DemoEnd::receive(const std::string &hex) {
  CHSecsMessage message;
  message.header.hsms = link_.hsms;
  message.SetMsg(hex);
  received_.push_back(std::move(message));
}

void DemoEnd::problem(int16_t code, const std::string &text) { problem_ = {code, text}; }

bool DemoEnd::send(const std::string &sml, uint32_t systemBytes) {
  CHSecsMessage message;
  message.header.hsms = link_.hsms;
  if (!message.SetFromSml(sml))
    return fail("not a message: " + sml);
  if (!link_.hsms)
    message.header.blockWord = kEBit | 1;
  if (!link_.hsms || message.header.sType() == 0)
    message.header.idWord = 0;
  message.header.systemBytes = systemBytes;
  return link_.send(message.GetMsg()) || fail("could not send " + nameOf(message));
}

bool DemoEnd::expect(const std::string &sml) {
  CHSecsMessage expected;
  expected.header.hsms = link_.hsms;
  expected.SetFromSml(sml);
  const bool came = link_.wait([this] { return problem_ || !received_.empty(); });
  if (problem_)
    return fail("expected " + nameOf(expected) + " and met problem " +
                std::to_string(problem_->code) + ' ' + problem_->text);
  if (!came)
    return fail("waited in vain for " + nameOf(expected));
  const CHSecsMessage message = std::move(received_.front());
  received_.pop_front();
  lastSystemBytes_ = message.header.systemBytes;
  print(peer_ + " --> " + name_ + "  " + story(message));
  if (nameOf(message) != nameOf(expected))
    return fail("expected " + nameOf(expected) + " and got " + nameOf(message));
  return bodyOf(message) == bodyOf(expected) || fail("got another " + nameOf(message));
}

bool DemoEnd::expectProblem(int16_t code, const std::string &meaning) {
  if (!link_.wait([this] { return problem_.has_value(); }))
    return fail("waited in vain for problem " + std::to_string(code));
  const Problem met = *std::exchange(problem_, std::nullopt);
  if (met.code != code)
    return fail("expected problem " + std::to_string(code) + " and met " +
                std::to_string(met.code) + ' ' + met.text);
  print(name_ + ": problem " + std::to_string(code) + ", " + meaning + ": " + met.text + '\n');
  return true;
}

bool DemoEnd::fail(const std::string &reason) const {
  std::cerr << "velto: demo: the " << name_ << ": " << reason << '\n';
  return false;
}

void DemoEnd::print(const std::string &what) const {
  std::cout << CJTime(clock_.localTime()).TimeText(0) << "  " << what << std::flush;
}

} // namespace velto

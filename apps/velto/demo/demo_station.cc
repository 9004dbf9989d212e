#include "apps/velto/demo/demo_station.h"

#include "base/date_time.h"
#include "gem/model_text/model_file.h"
#include "secs2/sml_printer.h"

#include <algorithm>
#include <iostream>
#include <sstream>

namespace velto {

namespace {

constexpr uint32_t kPatience = 5000; // ms that a step may take

// The SML of a message on one line.
std::string oneLine(const std::string &sml) {
  std::string line;
  std::istringstream words(sml);
  for (std::string word; words >> word;)
    line += (line.empty() ? "" : " ") + word;
  return line;
}

std::string normalised(const std::string &sml) {
  CHSecsMessage message;
  return message.SetFromSml(sml) ? oneLine(RenderSml(message)) : "no message: " + sml;
}

} // namespace

DemoStation::DemoStation(EventLoop &loop, std::string name)
    : control(loop), loop_(loop), name_(std::move(name)) {
  control.onReceived = [this](const std::string &, int32_t) { receive(); };
  control.onProblem = [this](int16_t code, const std::string &text) {
    fail("problem " + std::to_string(code) + ", " + text);
  };
}

bool DemoStation::load(const std::string &folder, const std::string &settings,
                       const GemData &model) {
  const std::string iniFile = folder + "/" + name_ + ".ini";
  control.SetIniFileName(iniFile);
  control.SetDataFileName(folder + "/" + name_ + ".kel");
  std::string problem;
  const bool written = systemFiles().write(iniFile, settings) &&
                       writeModelData(systemFiles(), control.DataFileName(), model, problem);
  if (!written || !control.LoadData())
    return fail("its files cannot be used");
  return true;
}

void DemoStation::narrate(const std::string &peer) {
  peer_ = peer;
  control.onSent = [this] { print(name_, peer_); };
}

void DemoStation::print(const std::string &from, const std::string &to) {
  std::string sml = control.SML();
  std::erase(sml, '\r');
  std::cout << CJTime(loop_.clock().localTime()).TimeText(0) << "  " << from << " --> " << to
            << "  " << sml << std::flush;
}

void DemoStation::receive() {
  if (!peer_.empty())
    print(peer_, name_);
  if (control.SType() != 0)
    return; // a control message of HSMS
  received_.push_back(oneLine(RenderSml(control.engine().gem()->slot(CHGem::kReceived).message)));
  control.DefProc();
}

bool DemoStation::send(const std::string &sml) {
  control.SetWorkSpace(CHGem::kWork);
  control.SetReply(false);
  control.SetSML(sml);
  return control.Send() || fail("may not send " + normalised(sml));
}

bool DemoStation::ask(std::initializer_list<Exchange> exchanges) {
  return std::ranges::all_of(exchanges, [this](const Exchange &exchange) {
    return send(exchange.primary) && expect(exchange.reply);
  });
}

bool DemoStation::await(const std::function<bool()> &done, const std::string &what) {
  if (loop_.runUntil([&] { return failed_ || done(); }, kPatience) && !failed_)
    return true;
  return failed_ ? false : fail("waited in vain for " + what);
}

std::string DemoStation::next() {
  if (!await([this] { return !received_.empty(); }, "a message"))
    return "";
  std::string message = std::move(received_.front());
  received_.pop_front();
  return message;
}

bool DemoStation::expect(const std::string &sml) {
  const std::string message = next();
  const std::string expected = normalised(sml);
  return message == expected ||
         fail("expected " + expected + " and got " + (message.empty() ? "nothing" : message));
}

bool DemoStation::expectStart(const std::string &start) {
  const std::string message = next();
  return message.starts_with(start) ||
         fail("expected " + start + "... and got " + (message.empty() ? "nothing" : message));
}

bool DemoStation::fail(const std::string &reason) {
  std::cerr << "velto: demo: the " << name_ << ": " << reason << '\n';
  failed_ = true;
  return false;
}

} // namespace velto

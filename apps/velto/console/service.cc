#include "apps/velto/console/service.h"

#include "apps/velto/console/systemd.h"
#include "gem/engine/engine.h"
#include "gem/states.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <unistd.h>

namespace velto {

namespace {

// The time by which the manager tells a reload from the ones before.
std::string monotonicMicros() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return std::to_string(int64_t{now.tv_sec} * 1'000'000 + now.tv_nsec / 1000);
}

} // namespace

Service::Service(EventLoop &loop) : alive_(loop, [] { notifyManager("WATCHDOG=1"); }) {
  if (!hasSystemd() && std::getenv("NOTIFY_SOCKET") != nullptr)
    std::cerr << "velto: built without libsystemd, the service manager is told nothing\n";
  if (const auto time = watchdogTime())
    alive_.startPeriodic(std::max(*time / 2, uint32_t{1}));
}

void Service::ready(const std::string &status) {
  status_ = status;
  notifyManager("READY=1\nSTATUS=" + status);
}

void Service::ready(CVeltoGemCtrl &control) {
  ready(serviceStatus(control));
  control.viewChanges().observe([this, &control] { status(serviceStatus(control)); });
}

void Service::status(const std::string &line) {
  if (stopping_ || line == status_)
    return;
  status_ = line;
  notifyManager("STATUS=" + line);
}

void Service::reload(const std::function<void()> &read) {
  notifyManager("RELOADING=1\nMONOTONIC_USEC=" + monotonicMicros());
  read();
  ready(status_);
}

void Service::stopping() {
  if (!stopping_)
    notifyManager("STOPPING=1");
  stopping_ = true;
}

std::string serviceStatus(CVeltoGemCtrl &control) {
  const CHPhysicalConnection &link = control.engine().physical();
  const int32_t port = link.LocalPort();
  const auto communication = static_cast<uint8_t>(control.CommunicationState());
  const auto controlState = static_cast<uint8_t>(control.ControlState());
  return std::string(link.link().protocolName()) + ' ' +
         (port != 0 ? "port " + std::to_string(port) + ' ' : "") + link.link().stateText() +
         "; communication " + stateName<CommunicationState>(communication, "Unknown") +
         "; control " + stateName<ControlState>(controlState);
}

// What a service starts inherits its environment, hence the process ID.
bool isService() {
  const char *started = std::getenv("SYSTEMD_EXEC_PID");
  return std::getenv("NOTIFY_SOCKET") != nullptr ||
         (started != nullptr && started == std::to_string(getpid()));
}

} // namespace velto

#pragma once

#include "apps/velto/console/gem_console.h"
#include "apps/velto/web/gem_page.h"
#include "apps/velto/web/web_server.h"

namespace velto {

/// The page of an equipment: besides link and messages its alarms, variables and events, which can
/// be set there as the operator and the tool would.
class EquipmentPage final : public WebSource {
public:
  /// Both must outlive this object.
  EquipmentPage(EventLoop &loop, CVeltoGemCtrl &control)
      : control_(control), server_(loop, *this), gem_(loop.clock(), control, server_.feed()) {}

  WebServer &server() { return server_; }
  GemPage &gem() { return gem_; }

  WebSnapshot snapshot() override;
  void act(const WebAction &action, std::function<void(WebResult)> done) override;

private:
  CVeltoGemCtrl &control_;
  WebServer server_;
  GemPage gem_;
};

} // namespace velto

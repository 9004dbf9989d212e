#pragma once

#include "apps/gateway/delivery.h"
#include "apps/gateway/request_body.h"
#include "controls/gem_ctrl.h"

#include <deque>
#include <map>
#include <memory>
#include <string>

namespace velto::gateway {

/// Requests from the bus to one tool: each is checked against the allow list and the names file,
/// becomes a message, and gets one answer. docs/gateway.md has their form.
class Requests {
public:
  Requests(CVeltoGemCtrl &control, const OutConfig &out, const ToolConfig &tool,
           const Payloads &payloads, Delivery &delivery, Clock &clock)
      : control_(control), out_(out), tool_(tool), payloads_(payloads), delivery_(delivery),
        clock_(clock) {}

  /// `reachable`: the tool communicates and is on-line. A request that the bus delivers a second
  /// time, which its ID tells, is not carried out again.
  void take(const std::string &id, const std::string &payload, bool reachable);
  /// Answers those that the tool has not answered: nobody waits for it any more.
  void close();

private:
  bool isReplyTopic(const std::string &topic) const;
  bool isRepeated(const std::string &id);
  std::string refusal(const RequestPlan &plan, bool reachable) const;
  void send(const std::shared_ptr<RequestPlan> &plan, const std::string &id, size_t index);
  void answered(const std::shared_ptr<RequestPlan> &plan, const std::string &id, size_t index,
                const GemReply &reply);
  void answer(const RequestPlan &plan, const std::string &id, const std::string &problem,
              const std::string &members);
  std::string told(const RequestPlan &plan, const GemReply &reply) const;

  CVeltoGemCtrl &control_;
  const OutConfig &out_;
  const ToolConfig &tool_;
  const Payloads &payloads_;
  Delivery &delivery_;
  Clock &clock_;
  std::deque<std::string> ids_;                              ///< of the latest requests
  std::map<std::string, std::shared_ptr<RequestPlan>> open_; ///< by their IDs
};

} // namespace velto::gateway

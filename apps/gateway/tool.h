#pragma once

#include "apps/gateway/delivery.h"
#include "apps/gateway/requests.h"
#include "apps/gateway/session.h"

#include <list>
#include <memory>
#include <string>

namespace velto::gateway {

/// A tool of the plant: the link to it, as a GEM host (SEMI E30), and what it reports. Events,
/// alarms and traces are answered when their publications are safe (Delivery), all else at once.
class Tool {
public:
  Tool(EventLoop &loop, const OutConfig &out, Delivery &delivery, ToolConfig config,
       std::function<void(const std::string &text)> told);
  Tool(const Tool &) = delete;
  Tool &operator=(const Tool &) = delete;

  void open();
  /// Sends Separate.req and closes the link; what it was is told as its state.
  void close();
  /// Messages have not been written to the link yet.
  bool hasUnsent() { return control_.engine().physical().link().hasUnsent(); }
  /// Whether it is configured like that.
  bool isSame(const ToolConfig &config) const {
    return config.link == config_.link && config.samePurpose(config_);
  }
  /// Takes another purpose over the link that there is; false when that has to be another one.
  bool change(const ToolConfig &config);
  /// Acknowledges were held back and go out again.
  void released();
  /// A request from the bus, with the ID that its topic ends in.
  void request(const std::string &id, const std::string &payload);

  const std::string &name() const { return config_.name; }
  bool communicates() const {
    return link_ == LinkState::Ready &&
           control_.CommunicationState() == CommunicationState::Communicating;
  }

private:
  struct Poll {
    Poll(EventLoop &loop, std::function<void()> ask) : timer(loop, std::move(ask)) {}
    Timer timer;
    bool asked = false;
  };

  void received();
  bool take(const CHSecsMessage &message);
  bool refuse(const CHSecsHeader &primary);
  Delivery::Acknowledge answerTo(const CHSecsHeader &primary, uint8_t code);
  void stateChanged();
  void startSession();
  void ready();
  void poll(size_t index);

  EventLoop &loop_;
  const OutConfig &out_;
  Delivery &delivery_;
  ToolConfig config_;
  const std::function<void(const std::string &text)> told_;
  Payloads payloads_;
  std::shared_ptr<uint32_t> connection_ = std::make_shared<uint32_t>(0); ///< counts links
  std::string state_;                                                    ///< as it was told
  /// The communication state outlives the link: it ends with the next one (SEMI E30, 4.1).
  LinkState link_ = LinkState::Down;
  bool online_ = true;
  CVeltoGemCtrl control_;
  Session session_;
  Requests requests_;
  std::list<Poll> polls_;
};

} // namespace velto::gateway

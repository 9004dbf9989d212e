#pragma once

#include "apps/gateway/payload.h"
#include "platform/event_loop.h"

#include <cstdint>
#include <memory>
#include <string>

namespace velto::gateway {

/// Where publications go. All of it happens on the thread of the loop.
class Sink {
public:
  /// Who gives it publications.
  class Owner {
  public:
    virtual ~Owner() = default;
    /// A publication stands where it cannot get lost: with the broker, or on the disk.
    virtual void delivered(uint64_t id) = 0;
    /// The sink takes publications again, or for the first time.
    virtual void sinkReady(bool afresh) = 0;
    /// It takes none for the time being, because of this.
    virtual void sinkLost(const std::string &reason) = 0;
    /// A request came from the bus.
    virtual void requested(const std::string &topic, const std::string &payload) = 0;
    /// A publication can never be published, because of this.
    virtual void undeliverable(uint64_t id, const std::string &reason) = 0;
    /// It can go on no more: the program is to end.
    virtual void sinkFailed(const std::string &reason) = 0;
  };

  virtual ~Sink() = default;
  /// Begins; what is wrong, or nothing.
  virtual std::string open() = 0;
  virtual bool ready() const = 0;
  /// Only while it is ready. delivered() follows, never inside this call, or undeliverable().
  virtual void publish(uint64_t id, const Publication &publication) = 0;
  /// Behind the publications of a turn of the loop.
  virtual void flush() {}
  /// Has requests come in that are published on these topics.
  virtual void subscribe(const std::string & /*topic*/) {}
  /// Lets what is under way end, for so many milliseconds at the most.
  virtual void close(uint32_t /*patience*/) {}
};

std::unique_ptr<Sink> makeLineSink(EventLoop &loop, Sink::Owner &owner, const OutConfig &out);
/// Null where the program was built without libmosquitto.
std::unique_ptr<Sink> makeMqttSink(EventLoop &loop, Sink::Owner &owner, const OutConfig &out);
/// The topic and the payload of what the broker publishes when the gateway is gone (last will).
Publication lastWill(const OutConfig &out);

} // namespace velto::gateway

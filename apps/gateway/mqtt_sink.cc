#include "apps/gateway/sink.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <map>
#include <mosquitto.h>
#include <mutex>
#include <set>
#include <thread>
#include <utility>
#include <vector>

namespace velto::gateway {

namespace {

constexpr int kAtLeastOnce = 1; // QoS
constexpr int kTurn = 200;      // ms at the most until the thread sees that it is to end
constexpr auto kPause = std::chrono::milliseconds(500); // between attempts to connect

/// The library is run by a thread of its own. What it tells is put down there, and taken up on the
/// thread of the loop.
class MqttSink final : public Sink {
public:
  MqttSink(EventLoop &loop, Owner &owner, const OutConfig &out)
      : owner_(owner), config_(out.mqtt), will_(lastWill(out)),
        mail_(std::make_shared<Mail>(loop, *this)) {
    static const int kInitialised = mosquitto_lib_init();
    static_cast<void>(kInitialised);
  }
  ~MqttSink() override {
    mail_->forget();
    stop();
  }

  std::string open() override {
    client_ = mosquitto_new(config_.client.c_str(), true, mail_.get());
    if (client_ == nullptr)
      return "the MQTT client cannot be made";
    mosquitto_connect_callback_set(client_, [](mosquitto *, void *mail, int code) {
      static_cast<Mail *>(mail)->connected(code);
    });
    mosquitto_publish_callback_set(client_, [](mosquitto *, void *mail, int mid) {
      static_cast<Mail *>(mail)->acknowledged(mid);
    });
    mosquitto_message_callback_set(client_, [](mosquitto *, void *mail,
                                               const mosquitto_message *message) {
      if (message->retain) // a request of before, which nobody waits for any more
        return;
      static_cast<Mail *>(mail)->request(message->topic,
                                         std::string(static_cast<const char *>(message->payload),
                                                     static_cast<size_t>(message->payloadlen)));
    });
    if (const int code = configure(); code != MOSQ_ERR_SUCCESS)
      return std::string("MQTT: ") + mosquitto_strerror(code);
    thread_ = std::jthread([this](const std::stop_token &stop) { run(stop); });
    return "";
  }

  bool ready() const override {
    return connected_ && waiting_.size() < static_cast<size_t>(config_.window);
  }

  // While the broker is away the library keeps what it has taken, and sends it again.
  void publish(uint64_t id, const Publication &publication) override {
    const std::string what = "the publication on " + publication.topic + " is not possible: ";
    if (publication.payload.size() > static_cast<size_t>(config_.largest))
      return owner_.undeliverable(id, what + std::to_string(publication.payload.size()) +
                                          " bytes are more than the broker takes");
    int mid = 0;
    const int code = mosquitto_publish(
        client_, &mid, publication.topic.c_str(), static_cast<int>(publication.payload.size()),
        publication.payload.data(), kAtLeastOnce, publication.retain);
    switch (code) {
    case MOSQ_ERR_SUCCESS:
    case MOSQ_ERR_NO_CONN:
    case MOSQ_ERR_CONN_LOST:
      waiting_[mid] = id;
      break;
    case MOSQ_ERR_NOMEM:
      owner_.sinkFailed(what + mosquitto_strerror(code));
      break;
    default: // the topic or the payload is none
      owner_.undeliverable(id, what + mosquitto_strerror(code));
    }
  }

  void subscribe(const std::string &topic) override {
    topics_.insert(topic);
    if (connected_)
      mosquitto_subscribe(client_, nullptr, topic.c_str(), kAtLeastOnce);
  }

  void close(uint32_t) override { stop(); }

private:
  /// What the library has told, until the loop takes it.
  class Mail : public std::enable_shared_from_this<Mail> {
  public:
    Mail(EventLoop &loop, MqttSink &sink) : loop_(loop), sink_(&sink) {}

    void forget() { sink_ = nullptr; } // on the thread of the loop

    void connected(int code) {
      const bool good = code == 0;
      put([&](Letters &letters) {
        letters.connected = good;
        letters.reason =
            good ? "" : std::string("the broker refuses: ") + mosquitto_connack_string(code);
      });
    }
    void disconnected(const std::string &reason) {
      put([&](Letters &letters) {
        letters.connected = false;
        letters.reason = reason;
      });
    }
    void acknowledged(int mid) {
      put([mid](Letters &letters) { letters.mids.push_back(mid); });
    }
    void request(std::string topic, std::string payload) {
      put([&](Letters &letters) {
        if (letters.requests.size() < kMostRequests)
          letters.requests.emplace_back(std::move(topic), std::move(payload));
      });
    }

  private:
    static constexpr size_t kMostRequests = 10'000;

    template <typename Work> void put(Work work) {
      const std::lock_guard lock(mutex_);
      work(letters_);
      if (!std::exchange(told_, true))
        loop_.postFromAnyThread([self = shared_from_this()] { self->deliver(); });
    }
    void deliver() {
      Letters letters;
      {
        const std::lock_guard lock(mutex_);
        letters = std::exchange(letters_, {});
        told_ = false;
      }
      if (sink_ != nullptr)
        sink_->take(letters);
    }

    friend class MqttSink;
    struct Letters {
      std::optional<bool> connected; ///< the latest
      std::string reason;            ///< why it is not
      std::vector<int> mids;
      std::vector<std::pair<std::string, std::string>> requests;
    };

    EventLoop &loop_;
    MqttSink *sink_;
    std::mutex mutex_;
    Letters letters_;
    bool told_ = false;
  };

  int configure() {
    const bool hasUser = !config_.user.empty();
    int code =
        hasUser ? mosquitto_username_pw_set(client_, config_.user.c_str(), config_.password.c_str())
                : MOSQ_ERR_SUCCESS;
    if (code == MOSQ_ERR_SUCCESS && config_.tls) {
      const auto orNull = [](const std::string &path) {
        return path.empty() ? nullptr : path.c_str();
      };
      code = mosquitto_tls_set(client_, config_.ca.c_str(), nullptr, orNull(config_.certificate),
                               orNull(config_.key), nullptr);
    }
    if (code == MOSQ_ERR_SUCCESS)
      code =
          mosquitto_will_set(client_, will_.topic.c_str(), static_cast<int>(will_.payload.size()),
                             will_.payload.data(), kAtLeastOnce, will_.retain);
    mosquitto_int_option(client_, MOSQ_OPT_TCP_NODELAY, 1);
    mosquitto_max_inflight_messages_set(client_, static_cast<unsigned>(config_.window));
    mosquitto_threaded_set(client_, true);
    return code;
  }

  // The thread: one broker after the other until one takes the connection, and that as long as it
  // lasts.
  void run(const std::stop_token &stop) const {
    for (size_t next = 0; !stop.stop_requested(); next = (next + 1) % config_.brokers.size()) {
      const auto &[host, port] = config_.brokers[next];
      int code = mosquitto_connect_async(client_, host.c_str(), port, config_.keepAlive);
      while (code == MOSQ_ERR_SUCCESS && !stop.stop_requested())
        code = mosquitto_loop(client_, kTurn, 1);
      const char *reason = code == MOSQ_ERR_ERRNO ? std::strerror(errno) : mosquitto_strerror(code);
      if (code != MOSQ_ERR_CONN_REFUSED && !stop.stop_requested()) // of which CONNACK has told
        mail_->disconnected("the broker " + host + ':' + std::to_string(port) +
                            " is not reachable: " + reason);
      for (auto paused = 0 * kPause; paused < kPause && !stop.stop_requested();
           paused += kPause / 10)
        std::this_thread::sleep_for(kPause / 10);
    }
  }

  void take(const Mail::Letters &letters) {
    const bool wasReady = ready();
    for (const int mid : letters.mids) {
      const auto found = waiting_.find(mid);
      if (found == waiting_.end())
        continue;
      const uint64_t id = found->second;
      waiting_.erase(found);
      owner_.delivered(id);
    }
    if (letters.connected)
      connection(*letters.connected, letters.reason);
    else if (!wasReady && ready())
      owner_.sinkReady(false);
    for (const auto &[topic, payload] : letters.requests)
      owner_.requested(topic, payload);
  }

  void connection(bool connected, const std::string &reason) {
    connected_ = connected;
    if (connected_) {
      for (const std::string &topic : topics_)
        mosquitto_subscribe(client_, nullptr, topic.c_str(), kAtLeastOnce);
      owner_.sinkReady(true);
    } else {
      owner_.sinkLost(reason);
    }
  }

  void stop() {
    if (client_ == nullptr)
      return;
    mosquitto_disconnect(client_);
    thread_ = {};
    mosquitto_destroy(std::exchange(client_, nullptr));
    connected_ = false;
  }

  Owner &owner_;
  const MqttConfig config_;
  const Publication will_;
  std::shared_ptr<Mail> mail_;
  mosquitto *client_ = nullptr;
  std::jthread thread_;
  bool connected_ = false;
  std::set<std::string> topics_;
  std::map<int, uint64_t> waiting_; ///< IDs by the message IDs of MQTT
};

} // namespace

std::unique_ptr<Sink> makeMqttSink(EventLoop &loop, Sink::Owner &owner, const OutConfig &out) {
  return std::make_unique<MqttSink>(loop, owner, out);
}

} // namespace velto::gateway

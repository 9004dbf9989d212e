#include "apps/velto/web/web_server.h"

#include "apps/velto/web/metrics.h"
#include "apps/velto/web/page_files.h"
#include "apps/velto/web/snapshot_json.h"
#include "apps/velto/web/task_threads.h"
#include "apps/velto/web/web_access.h"
#include "apps/velto/web/web_desk.h"

#include <atomic>
#include <csignal>
#include <sys/socket.h>

namespace velto {

namespace {

using Request = httplib::Request;
using Response = httplib::Response;
using Milliseconds = WebDesk::Time;

constexpr Milliseconds kRefresh{100};
constexpr Milliseconds kPatience{2000};         // for a loop that is busy
constexpr Milliseconds kActionPatience{60'000}; // a request may wait for T3
constexpr Milliseconds kQuiet{5000};            // after which a browser gets a sign of life
constexpr time_t kReadTimeout = 2;              // s for the next part of a request
constexpr time_t kWriteTimeout = 5;             // s for a browser that does not read
constexpr time_t kIdleTimeout = 1;              // s without a request on a connection
constexpr size_t kMostThreads = WebServer::kMostWatchers + 8;
constexpr size_t kLongestBody = size_t{256} * 1024;

// Whatever a text from the wire says, nothing but our own files is loaded or run.
const httplib::Headers kHeaders = {
    {"Content-Security-Policy",
     "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; "
     "base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
    {"X-Content-Type-Options", "nosniff"},
    {"Referrer-Policy", "no-referrer"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
    {"Cache-Control", "no-store"},
};

void refuse(Response &response, int status, const std::string &why) {
  response.status = status;
  response.set_content(why + '\n', "text/plain; charset=utf-8");
}

// Signals belong to the thread of the loop: those that this one makes take none.
class WithoutSignals {
public:
  WithoutSignals() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~WithoutSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  WithoutSignals(const WithoutSignals &) = delete;
  WithoutSignals &operator=(const WithoutSignals &) = delete;

private:
  sigset_t before_{};
};

// What one browser has been told, and its place among those that are kept up to date.
class Watcher {
public:
  Watcher(std::shared_ptr<WebDesk> desk, std::shared_ptr<const WebFeed> feed,
          std::shared_ptr<std::atomic<int>> places)
      : desk_(std::move(desk)), feed_(std::move(feed)), places_(std::move(places)) {}
  ~Watcher() { --*places_; }
  Watcher(const Watcher &) = delete;
  Watcher &operator=(const Watcher &) = delete;

  // Sends what is new, then waits a moment. False at the end.
  bool tell(httplib::DataSink &sink) {
    const auto now = desk_->latest(kRefresh, kPatience);
    std::string text;
    if (now != nullptr && now != told_)
      addEvent(text, "state", told_ == nullptr ? toJson(*now) : toJsonChange(*told_, *now));
    told_ = now;
    if (const WebFeed::News news = feed_->after(number_);
        !news.entries.empty() || news.leftOut != leftOut_) {
      addEvent(text, "feed", toJson(news));
      number_ = news.entries.empty() ? number_ : news.entries.back().number;
      leftOut_ = news.leftOut;
    }
    quiet_ += kRefresh;
    if (text.empty() && quiet_ >= kQuiet)
      text = ":\n\n";
    if (!text.empty())
      quiet_ = Milliseconds(0);
    if (desk_->closed() || !sink.is_writable() ||
        (!text.empty() && !sink.write(text.data(), text.size())))
      return false;
    std::this_thread::sleep_for(kRefresh);
    return true;
  }

private:
  static void addEvent(std::string &text, const char *name, const std::string &data) {
    if (!data.empty())
      text += std::string("event: ") + name + "\ndata: " + data + "\n\n";
  }

  const std::shared_ptr<WebDesk> desk_;
  const std::shared_ptr<const WebFeed> feed_;
  const std::shared_ptr<std::atomic<int>> places_;
  std::shared_ptr<const WebSnapshot> told_;
  uint64_t number_ = 0;
  uint64_t leftOut_ = 0;
  Milliseconds quiet_{0};
};

} // namespace

class WebServer::Http {
public:
  Http(EventLoop &loop, WebSource &source, std::shared_ptr<const WebFeed> feed)
      : desk_(std::make_shared<WebDesk>(loop, source)), feed_(std::move(feed)) {}

  ~Http() {
    desk_->close();
    if (!thread_.joinable())
      return;
    while (!server_.is_running()) // it can be stopped once it runs
      std::this_thread::yield();
    server_.stop();
    thread_.join();
  }

  // The port; 0 when that fails.
  int start(const WebOptions &options) {
    configure();
    const int port = *options.port != 0 ? bindTo(options.address, *options.port)
                                        : std::max(server_.bind_to_any_port(options.address), 0);
    if (port == 0)
      return 0;
    access_.emplace(options.token, "velto_" + std::to_string(port));
    const WithoutSignals off;
    thread_ = std::thread([this] { server_.listen_after_bind(); });
    return port;
  }

private:
  int bindTo(const std::string &address, int port) {
    return server_.bind_to_port(address, port) ? port : 0;
  }

  void configure() {
    server_.new_task_queue = [] { return new TaskThreads(kMostThreads); };
    // Two programs must not share a port, as the library's own choice of options would let them.
    server_.set_socket_options([](int fd) {
      const int on = 1;
      setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    });
    server_.set_tcp_nodelay(true);
    server_.set_read_timeout(kReadTimeout);
    server_.set_write_timeout(kWriteTimeout);
    server_.set_keep_alive_timeout(kIdleTimeout);
    server_.set_payload_max_length(kLongestBody);
    server_.set_default_headers(kHeaders);
    server_.set_pre_routing_handler([this](const Request &request, Response &response) {
      return isHandled(request, response) ? httplib::Server::HandlerResponse::Handled
                                          : httplib::Server::HandlerResponse::Unhandled;
    });
    server_.Post("/act",
                 [this](const Request &request, Response &response) { act(request, response); });
  }

  // Of a request that is granted all but the reading of what was posted, which comes after this.
  bool isHandled(const Request &request, Response &response) {
    if (request.method == "GET" && request.has_param("token") && access_->needsToken())
      return takeToken(request, response), true;
    const bool isPost = request.method == "POST";
    const WebAccess::Verdict verdict =
        access_->judge({request.get_header_value("Host"), request.get_header_value("Origin"),
                        request.get_header_value("Authorization"),
                        request.get_header_value("Cookie"), isPost, request.has_header("X-Velto")});
    if (verdict != WebAccess::Verdict::Granted)
      return refuse(response, verdict), true;
    if (isPost && request.path == "/act")
      return false;
    if (request.method == "GET" || request.method == "HEAD")
      get(request, response);
    else
      velto::refuse(response, 405, "only GET, and POST of /act");
    return true;
  }

  static void refuse(Response &response, WebAccess::Verdict verdict) {
    if (verdict == WebAccess::Verdict::WrongHost)
      return velto::refuse(response, 421, "open the page as http://localhost:PORT/");
    if (verdict == WebAccess::Verdict::WrongOrigin)
      return velto::refuse(response, 403, "changes come from the page itself");
    response.set_header("WWW-Authenticate", "Bearer");
    velto::refuse(response, 401, "open the page with ?token=TOKEN, the TOKEN of --web-token");
  }

  // The token leaves the address line at once, where others could read it.
  void takeToken(const Request &request, Response &response) {
    if (!access_->isToken(request.get_param_value("token")))
      return refuse(response, WebAccess::Verdict::NoToken);
    response.set_header("Set-Cookie", access_->cookie());
    response.set_redirect("/", 303);
  }

  void get(const Request &request, Response &response) {
    if (request.path == "/events")
      return watch(response);
    if (request.path == "/metrics")
      return tellMetrics(response);
    std::string text;
    const PageFile *file = findPageFile(request.path, text);
    if (file == nullptr)
      return velto::refuse(response, 404, "there is no such page");
    response.status = 200;
    response.set_content(std::move(text), file->type);
  }

  void watch(Response &response) {
    if (++*places_ > kMostWatchers) {
      --*places_;
      response.set_header("Retry-After", "5");
      return velto::refuse(response, 503, "too many browsers watch");
    }
    const auto watcher = std::make_shared<Watcher>(desk_, feed_, places_);
    response.status = 200;
    response.set_chunked_content_provider(
        "text/event-stream",
        [watcher](size_t, httplib::DataSink &sink) { return watcher->tell(sink); });
  }

  void tellMetrics(Response &response) {
    const auto now = desk_->latest(kRefresh, kPatience);
    std::string text;
    if (now == nullptr)
      return velto::refuse(response, 503, "the program is busy");
    if (!metricsText(*now, text))
      return velto::refuse(response, 501, text);
    response.status = 200;
    response.set_content(text, "text/plain; version=0.0.4; charset=utf-8");
  }

  void act(const Request &request, Response &response) {
    const auto result =
        desk_->act({request.get_param_value("action"), request.get_param_value("key"),
                    request.get_param_value("value")},
                   kActionPatience);
    response.status = result ? 200 : 504;
    response.set_content(toJson(result.value_or(WebResult{false, "no answer came in time"})),
                         "application/json");
  }

  const std::shared_ptr<WebDesk> desk_;
  const std::shared_ptr<const WebFeed> feed_;
  const std::shared_ptr<std::atomic<int>> places_ = std::make_shared<std::atomic<int>>(0);
  std::optional<WebAccess> access_; // set before there are threads
  httplib::Server server_;
  std::thread thread_;
};

WebServer::WebServer(EventLoop &loop, WebSource &source) : loop_(loop), source_(source) {}

WebServer::~WebServer() = default;

std::string WebServer::start(const WebOptions &options) {
  http_ = std::make_unique<Http>(loop_, source_, feed_);
  const bool isSix = options.address.find(':') != std::string::npos;
  const std::string host = isSix ? '[' + options.address + ']' : options.address;
  const int port = http_->start(options);
  if (port == 0)
    return "cannot serve a page at " + host + ':' + std::to_string(*options.port);
  address_ = "http://" + host + ':' + std::to_string(port) + '/';
  return "";
}

} // namespace velto

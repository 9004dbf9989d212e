// Any calls of the C interface in any order, from inside the handlers too: each has a status, and
// nothing else happens.
#include "module/velto.h"

#include <array>
#include <cstdlib>
#include <string>
#include <string_view>
#include <unistd.h>

namespace {

constexpr std::array kNames{"VeltoGem",    "VeltoHsms",       "VeltoSecsI",
                            "VeltoComm",   "VeltoLog",        "VELTO.VeltoSecsIICtrl.1",
                            "VeltoSocket", "VeltoSecsII",     "VELTO.VeltoGemPropPage.1",
                            "Velto",       "VeltoSecsISocket"};
constexpr std::array kTexts{"",
                            "1",
                            "-1",
                            "127.0.0.1",
                            "./file",
                            "s1f1w",
                            "s2f41w{<a'START'>{}}",
                            "1.5",
                            "true",
                            "0000810100000000000101",
                            "x=1\nT3=5"};
constexpr std::array<int64_t, 8> kNumbers{0, 1, -1, 2, 7, 65536, INT64_MAX, INT64_MIN};
constexpr size_t kMostObjects = 4;
constexpr int kDeepest = 4; // handlers inside handlers

/// A run of calls, as the bytes say.
class Program {
public:
  Program(const uint8_t *data, size_t size) : next_(data), end_(data + size) {
    loop_ = velto_loop_new();
    const velto_front_end front{
        sizeof(velto_front_end), this,
        [](void *user, const char *, const char *, int, int) { return within(user); },
        [](void *user, velto_sheet *sheet, const char *) {
          auto *program = static_cast<Program *>(user);
          const std::string text = program->text();
          velto_sheet_set(sheet, program->text(), text.data(), text.size());
          velto_sheet_problem(sheet);
          return within(user);
        }};
    velto_loop_front_end(loop_, &front);
  }
  ~Program() { velto_loop_free(loop_); }
  Program(const Program &) = delete;
  Program &operator=(const Program &) = delete;

  void run() {
    while (next_ < end_)
      step();
    velto_loop_run_once(loop_, 0);
  }

private:
  static int within(void *user) {
    auto *program = static_cast<Program *>(user);
    if (program->depth_ < kDeepest) {
      ++program->depth_;
      program->step();
      --program->depth_;
    }
    return 1;
  }

  uint8_t byte() { return next_ < end_ ? *next_++ : uint8_t{0}; }
  const char *text() { return kTexts[byte() % kTexts.size()]; }
  velto_control *&control() { return controls_[byte() % kMostObjects]; }
  int32_t id() {
    const int32_t number = byte();
    return number > 250 ? -500 - number : number;
  }
  velto_value value() {
    velto_value out{};
    const uint8_t kind = byte();
    out.type = static_cast<velto_type>(kind % 5);
    out.integer = kNumbers[byte() % kNumbers.size()];
    out.real = static_cast<double>(out.integer) / 3;
    out.text = kind > 250 ? nullptr : text();
    out.length = out.text == nullptr ? kind % 2 : std::char_traits<char>::length(out.text);
    return out;
  }

  void loadBag(velto_control *at) {
    const std::string bag = text();
    velto_load_bag(at, bag.data(), bag.size());
  }

  // Handlers that hear of a conversation.
  void converse(velto_control *at) {
    const std::string_view primary("\0\0\x81\1\0\0\0\0\0\0", 10);
    const uint32_t vid = byte();
    velto_value message{};
    switch (byte() % 4) {
    case 0:
      velto_gem_request(
          at, primary.data(), byte() % 11, byte(),
          [](void *user, velto_control *, velto_outcome outcome, const void *, size_t,
             const char *) {
            if (outcome != VELTO_GONE)
              within(user);
          },
          this);
      break;
    case 1:
      velto_gem_subscribe(
          at, vid, &vid, byte() % 2,
          [](void *user, velto_control *, uint32_t, const char *, const void *, size_t) {
            within(user);
          },
          this, nullptr);
      break;
    case 2:
      velto_gem_on_command(
          at, text(),
          [](void *user, velto_control *, const char *, const void *, size_t) {
            return within(user);
          },
          this);
      break;
    default:
      velto_gem_unsubscribe(at, byte());
      velto_gem_message(at, &message);
    }
  }

  void step() {
    std::array<velto_value, 9> arguments{};
    velto_value result{};
    const uint8_t act = byte();
    velto_control *&at = control();
    const size_t count = byte() % arguments.size();
    for (size_t i = 0; i < count; ++i)
      arguments[i] = value();
    switch (act % 16) {
    case 0:
      velto_destroy(at);
      at = velto_create(loop_, kNames[byte() % kNames.size()]);
      break;
    case 1:
      velto_destroy(at);
      break;
    case 2:
      at = velto_gem_equipment(loop_, "", "listen:0");
      break;
    case 3:
      velto_on_event(
          at,
          [](void *user, velto_control *, int32_t, const char *, const velto_value *, size_t) {
            within(user);
          },
          this);
      break;
    case 4:
      velto_save_bag(at, &result);
      break;
    case 5:
      loadBag(at);
      break;
    case 6:
      velto_window(at, &result);
      break;
    case 7:
      velto_page_show(at, control());
      break;
    case 8:
      velto_loop_run_once(loop_, 0);
      break;
    case 9:
      velto_call_id(at, id(), arguments.data(), count, &result);
      break;
    case 10:
    case 11:
      velto_get_id(at, id(), arguments.data(), count, &result);
      break;
    case 12:
      velto_on_window(
          at, [](void *user, velto_control *) { within(user); }, this);
      break;
    case 13:
      if (byte() == 255)
        velto_loop_free(loop_);
      break;
    case 14:
      converse(at);
      break;
    default:
      velto_set_id(at, id(), arguments.data(), count, value());
      break;
    }
    if (result.type == VELTO_TEXT && result.text[result.length] != '\0')
      abort();
  }

  const uint8_t *next_;
  const uint8_t *end_;
  velto_loop *loop_ = nullptr;
  std::array<velto_control *, kMostObjects> controls_{};
  int depth_ = 0;
};

// What the calls write goes to a folder of its own.
bool inOwnFolder() {
  std::string folder = "/tmp/velto-module-fuzz.XXXXXX";
  return mkdtemp(folder.data()) != nullptr && chdir(folder.c_str()) == 0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const bool own = inOwnFolder();
  if (own && size <= 4096)
    Program(data, size).run();
  return 0;
}

// GEM conversations through the C interface: requests, subscriptions and commands. Messages and
// values travel as their bytes (SEMI E5 9.2), which every language reads with a page of code.

#include "controls/gem_ctrl.h"
#include "module/objects.h"
#include "secs2/item_codec.h"

using namespace velto;
using namespace velto::module;

static_assert(int{VELTO_GONE} == static_cast<int>(GemOutcome::Gone));

namespace {

// Does something with a VeltoGem: `work(gem, object)`.
template <typename Work> velto_status withGem(velto_control *control, Work work) {
  return guarded([&] {
    const auto [object, status] = controlOf(control);
    if (object == nullptr)
      return status;
    auto *gem = dynamic_cast<CVeltoGemCtrl *>(object->control.get());
    if (gem == nullptr)
      return fail(VELTO_NO_SUCH_MEMBER, "only a VeltoGem has conversations");
    return work(*gem, *object);
  });
}

velto_status due(const char *what) {
  return fail(VELTO_WRONG_ARGUMENTS, std::string(what) + " is due");
}

CHSecsItem textItem(const std::string &text) {
  CHSecsItem item;
  item.setText(text, format::kAscii);
  return item;
}

CHSecsItem numberItem(uint32_t number) {
  CHSecsItem item;
  std::memcpy(item.makeArray(format::kU4, 1), &number, sizeof number);
  return item;
}

// The values of a command or an event as bytes: a list with a list for each of them, which has the
// name, the VID (of an event) and the value.
Bytes packed(const GemValues &values, bool withVids) {
  CHSecsItem all;
  all.setList();
  all.reserveChildren(values.all.size());
  for (const GemValue &value : values.all) {
    CHSecsItem &row = all.appendChild();
    row.setList();
    row.appendChild(textItem(value.name));
    if (withVids)
      row.appendChild(numberItem(value.vid));
    row.appendChild(value.item.clone());
  }
  Bytes bytes(EncodedItemSize(all).value_or(0));
  if (!bytes.empty())
    EncodeItem(all, bytes.data());
  return bytes;
}

} // namespace

velto_status velto_gem_message(velto_control *control, velto_value *result) {
  return withGem(control, [result](CVeltoGemCtrl &gem, ControlObject &object) {
    if (result == nullptr)
      return due("a place for the result");
    Bytes bytes;
    if (!gem.MsgBytes(bytes))
      return fail(VELTO_FAILED, "the message is longer than 10 MiB");
    object.text.assign(bytes.begin(), bytes.end());
    *result = textToC(object.text);
    return VELTO_OK;
  });
}

velto_status velto_gem_request(velto_control *control, const void *message, size_t length,
                               uint32_t milliseconds, velto_reply_handler handler, void *user) {
  return withGem(control, [=](CVeltoGemCtrl &gem, ControlObject &) {
    if (handler == nullptr)
      return due("a handler");
    CHSecsMessage primary;
    if (message == nullptr || length > CHSecsMessage::kMaxEncodedSize ||
        !primary.Decode({static_cast<const uint8_t *>(message), length}))
      return due("a message, which has ten bytes of header");
    gem.Request(
        primary,
        [=](const GemReply &reply) {
          Bytes bytes;
          if (reply.message.header.stream() != 0)
            reply.message.Encode(bytes);
          handler(user, control, static_cast<velto_outcome>(reply.outcome), bytes.data(),
                  bytes.size(), reply.reason.c_str());
        },
        milliseconds);
    return VELTO_OK;
  });
}

velto_status velto_gem_subscribe(velto_control *control, uint32_t ceid, const uint32_t *vids,
                                 size_t count, velto_report_handler handler, void *user,
                                 int32_t *subscription) {
  return withGem(control, [=](CVeltoGemCtrl &gem, ControlObject &) {
    if (handler == nullptr || (vids == nullptr && count != 0))
      return due("a handler, and variables or a count of 0,");
    const int32_t number = gem.Subscribe(
        ceid, count == 0 ? std::vector<GemId>() : std::vector<GemId>(vids, vids + count),
        [=](const GemEvent &event) {
          const Bytes values = packed(event.values, true);
          handler(user, control, event.ceid, event.name.c_str(), values.data(), values.size());
        });
    if (subscription != nullptr)
      *subscription = number;
    return VELTO_OK;
  });
}

velto_status velto_gem_unsubscribe(velto_control *control, int32_t subscription) {
  return withGem(control, [=](CVeltoGemCtrl &gem, ControlObject &) {
    return gem.Unsubscribe(subscription) ? VELTO_OK
                                         : fail(VELTO_FAILED, "there is no such subscription");
  });
}

int velto_gem_subscribed(velto_control *control) {
  int subscribed = -1;
  withGem(control, [&subscribed](CVeltoGemCtrl &gem, ControlObject &) {
    subscribed = gem.Subscribed() ? 1 : 0;
    return VELTO_OK;
  });
  return subscribed;
}

velto_status velto_gem_on_command(velto_control *control, const char *name,
                                  velto_command_handler handler, void *user) {
  return withGem(control, [=](CVeltoGemCtrl &gem, ControlObject &) {
    if (name == nullptr)
      return due("the name of a command");
    if (handler == nullptr) {
      gem.OnCommand(name, nullptr);
      return VELTO_OK;
    }
    gem.OnCommand(name, [=](GemCommand &command) {
      const Bytes values = packed(command.values, false);
      const int answer = handler(user, control, command.name.c_str(), values.data(), values.size());
      return static_cast<int16_t>(answer < 0 || answer > 0xFF ? -1 : answer);
    });
    return VELTO_OK;
  });
}

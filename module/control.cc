// The controls of the C interface: making them, their members and events.

#include "base/text.h"
#include "controls/gem_factory.h"
#include "controls/registry.h"
#include "module/objects.h"

#include <algorithm>
#include <array>
#include <string_view>

using namespace velto;
using namespace velto::module;

namespace {

constexpr std::string_view kLibrary = "VELTO.";
constexpr std::string_view kControlEnding = "Ctrl.1";
constexpr std::string_view kPageEnding = "PropPage.1";

// What a name asks for: "VeltoGem", "VELTO.VeltoGemCtrl.1" or "VELTO.VeltoGemPropPage.1".
struct ClassName {
  std::string_view control;
  bool page = false;
};

ClassName parseName(std::string_view name) {
  if (name.size() < kLibrary.size() || !equalsIgnoreCase(name.substr(0, kLibrary.size()), kLibrary))
    return {name};
  name.remove_prefix(kLibrary.size());
  for (const std::string_view ending : {kControlEnding, kPageEnding})
    if (name.size() > ending.size() &&
        equalsIgnoreCase(name.substr(name.size() - ending.size()), ending))
      return {name.substr(0, name.size() - ending.size()), ending == kPageEnding};
  return {};
}

const MemberTable *tableOf(std::string_view control) {
  const auto tables = controlTables();
  const auto found = std::ranges::find_if(tables, [control](const MemberTable *table) {
    return equalsIgnoreCase(table->controlName, control);
  });
  return found == tables.end() ? nullptr : *found;
}

velto_status statusOf(AccessFault fault) {
  switch (fault) {
  case AccessFault::None:
    return VELTO_OK;
  case AccessFault::NoSuchMember:
    return VELTO_NO_SUCH_MEMBER;
  case AccessFault::NotWritable:
    return VELTO_NOT_WRITABLE;
  case AccessFault::WrongArguments:
    return VELTO_WRONG_ARGUMENTS;
  case AccessFault::WrongType:
    return VELTO_WRONG_TYPE;
  }
  return VELTO_FAILED;
}

// The arguments of a call, which most often are few.
class Given {
public:
  // False when they are none.
  bool take(const velto_value *values, size_t count) {
    for (size_t i = 0; i < count; ++i) {
      auto value = fromC(values[i]);
      if (!value)
        return false;
      if (i < few_.size())
        few_[i] = std::move(*value);
      else if (many_.empty())
        many_.assign(few_.begin(), few_.end());
      if (i >= few_.size())
        many_.push_back(std::move(*value));
    }
    count_ = count;
    return true;
  }
  Arguments arguments() const {
    return many_.empty() ? Arguments(few_.data(), count_) : Arguments(many_);
  }

private:
  std::array<Variant, 4> few_;
  std::vector<Variant> many_;
  size_t count_ = 0;
};

// Reaches a member of a control: `work(control, arguments)`. A control that is destroyed meanwhile
// has no result.
template <typename Work>
velto_status reach(velto_control *control, const velto_value *values, size_t count,
                   velto_value *result, Work work) {
  if (result != nullptr)
    *result = {VELTO_EMPTY, 0, 0, nullptr, 0};
  const auto [object, status] = controlOf(control);
  if (object == nullptr)
    return status;
  if (object->control == nullptr)
    return fail(VELTO_NO_SUCH_MEMBER, "a property page has no members; see velto_page_show()");
  if (values == nullptr && count != 0)
    return fail(VELTO_WRONG_ARGUMENTS, "the arguments are null");
  constexpr size_t kMostArguments = 16; // no member takes half as many
  Given given;
  if (count > kMostArguments)
    return fail(VELTO_WRONG_ARGUMENTS, "no member takes so many arguments");
  if (!given.take(values, count))
    return fail(VELTO_WRONG_TYPE, "an argument has no type, or a length but no text");
  const Outcome outcome = work(*object->control, given.arguments());
  if (outcome.fault != AccessFault::None)
    return fail(statusOf(outcome.fault), outcome.error);
  if (result == nullptr)
    return VELTO_OK;
  if (object->control == nullptr)
    return fail(VELTO_CLOSED, "the control was destroyed in an event of this call");
  *result = toC(outcome.value, object->text);
  return VELTO_OK;
}

ControlSite siteOf(const ControlObject &object) {
  return {object.loop->loop, object.loop->frontEnd};
}

// Makes an object on a loop that `make` fills, and gives it a handle.
template <typename Make> velto_control *create(velto_loop *loop, Make make) {
  uintptr_t handle = 0;
  guarded([&] {
    const auto [at, status] = loopOf(loop);
    if (at == nullptr)
      return status;
    auto object = std::make_shared<ControlObject>();
    object->loop = at;
    if (const velto_status made = make(*object); made != VELTO_OK)
      return made;
    handle = controls().add(object);
    if (handle == 0)
      return fail(VELTO_NO_MEMORY, "there are too many controls");
    at->controls.push_back(handle);
    return VELTO_OK;
  });
  return toHandle<velto_control>(handle);
}

velto_status nameMissing() { return fail(VELTO_WRONG_ARGUMENTS, "the name of a member is due"); }

template <typename Member>
velto_status get(velto_control *control, Member member, const velto_value *index, size_t count,
                 velto_value *result) {
  return guarded([&] {
    return reach(control, index, count, result,
                 [member](Control &at, Arguments arguments) { return at.get(member, arguments); });
  });
}

template <typename Member>
velto_status set(velto_control *control, Member member, const velto_value *index, size_t count,
                 const velto_value &value) {
  return guarded([&] {
    const auto given = fromC(value);
    if (!given)
      return fail(VELTO_WRONG_TYPE, "the value has no type, or a length but no text");
    return reach(control, index, count, nullptr, [&](Control &at, Arguments arguments) {
      return at.set(member, *given, arguments);
    });
  });
}

template <typename Member>
velto_status call(velto_control *control, Member member, const velto_value *arguments, size_t count,
                  velto_value *result) {
  return guarded([&] {
    return reach(control, arguments, count, result,
                 [member](Control &at, Arguments given) { return at.call(member, given); });
  });
}

} // namespace

velto_control *velto_create(velto_loop *loop, const char *name) {
  return create(loop, [name](ControlObject &object) {
    if (name == nullptr)
      return fail(VELTO_WRONG_ARGUMENTS, "the name of a control is due");
    const ClassName asked = parseName(name);
    const MemberTable *table = tableOf(asked.control);
    if (table == nullptr)
      return fail(VELTO_NO_SUCH_CONTROL, "there is no control " + std::string(name));
    if (asked.page)
      object.pageOf = table;
    else
      object.control = createControl(asked.control, siteOf(object));
    return VELTO_OK;
  });
}

velto_control *velto_gem_equipment(velto_loop *loop, const char *model, const char *address) {
  return create(loop, [=](ControlObject &object) {
    if (model == nullptr || address == nullptr)
      return fail(VELTO_WRONG_ARGUMENTS, "a model and an address are due");
    std::string problem;
    object.control = VeltoGem::Equipment(siteOf(object), model, address, &problem);
    return object.control != nullptr ? VELTO_OK : fail(VELTO_FAILED, std::move(problem));
  });
}

velto_control *velto_gem_host(velto_loop *loop, const char *address) {
  return create(loop, [=](ControlObject &object) {
    if (address == nullptr)
      return fail(VELTO_WRONG_ARGUMENTS, "an address is due");
    std::string problem;
    object.control = VeltoGem::Host(siteOf(object), address, &problem);
    return object.control != nullptr ? VELTO_OK : fail(VELTO_FAILED, std::move(problem));
  });
}

void velto_destroy(velto_control *control) {
  guarded([control] {
    const auto [object, status] = controlOf(control);
    if (object == nullptr)
      return status;
    const auto handle = reinterpret_cast<uintptr_t>(control);
    controls().remove(handle);
    std::erase(object->loop->controls, handle);
    object->control.reset();
    return VELTO_OK;
  });
}

velto_status velto_get(velto_control *control, const char *member, const velto_value *index,
                       size_t count, velto_value *result) {
  return member == nullptr ? nameMissing()
                           : get(control, std::string_view(member), index, count, result);
}

velto_status velto_set(velto_control *control, const char *member, const velto_value *index,
                       size_t count, velto_value value) {
  return member == nullptr ? nameMissing()
                           : set(control, std::string_view(member), index, count, value);
}

velto_status velto_call(velto_control *control, const char *member, const velto_value *arguments,
                        size_t count, velto_value *result) {
  return member == nullptr ? nameMissing()
                           : call(control, std::string_view(member), arguments, count, result);
}

velto_status velto_get_id(velto_control *control, int32_t id, const velto_value *index,
                          size_t count, velto_value *result) {
  return get(control, int{id}, index, count, result);
}

velto_status velto_set_id(velto_control *control, int32_t id, const velto_value *index,
                          size_t count, velto_value value) {
  return set(control, int{id}, index, count, value);
}

velto_status velto_call_id(velto_control *control, int32_t id, const velto_value *arguments,
                           size_t count, velto_value *result) {
  return call(control, int{id}, arguments, count, result);
}

velto_status velto_on_event(velto_control *control, velto_event_handler handler, void *user) {
  return guarded([=] {
    const auto [object, status] = controlOf(control);
    if (object == nullptr)
      return status;
    if (object->control == nullptr)
      return fail(VELTO_NO_SUCH_MEMBER, "a property page has no events");
    if (handler == nullptr) {
      object->control->observe(nullptr);
      return VELTO_OK;
    }
    object->control->observe([=](const Member &event, Arguments arguments) {
      std::vector<velto_value> values;
      std::vector<std::string> texts(arguments.size());
      for (size_t i = 0; i < arguments.size(); ++i)
        values.push_back(toC(arguments[i], texts[i]));
      handler(user, control, event.id, event.name.c_str(), values.data(), values.size());
    });
    return VELTO_OK;
  });
}

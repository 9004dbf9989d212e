#pragma once

#include "controls/component/enumeration.h"
#include "controls/component/variant.h"

#include <array>
#include <cassert>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace velto {

class Control;

using Arguments = std::span<const Variant>;

struct Argument {
  std::string name;
  ValueType type;
  const Enumeration *values = nullptr; ///< those that it may have; null: any
};

/// The numbers that make sense, both ends included.
struct NumberRange {
  int64_t minimum = 0;
  int64_t maximum = 0;
  /// What the property reads is always one of them. Else any number is kept, and that it makes no
  /// sense shows when it is used: the link does not open, the message is refused.
  bool enforced = true;
};

/// One property, method or event of a control.
struct Member {
  enum class Kind { Property, Method, Event };

  int id = 0;
  std::string name;
  Kind kind = Kind::Property;
  ValueType type = ValueType::None;    ///< of the property's value or the method's result
  std::vector<Argument> arguments;     ///< of a method or event; the index of an indexed property
  std::string help;                    ///< one sentence, without what stands below
  std::optional<Variant> persisted;    ///< the default, for a property that the bag keeps
  std::string unit;                    ///< of a property's number: "ms", "KiB"; empty: none
  std::optional<NumberRange> range;    ///< of a property's number; nothing: all of its type
  const Enumeration *values = nullptr; ///< of the property or the result; null: any

  // Arguments have the declared count and types when these are called.
  Variant (*get)(Control &, Arguments) = nullptr;
  void (*set)(Control &, Arguments, const Variant &) = nullptr; ///< null: read only
  Variant (*call)(Control &, Arguments) = nullptr;
};

/// All members of a control class. Every way of reaching a member (late binding, the property bag,
/// the reference, the container) reads this one table.
struct MemberTable {
  MemberTable() = default;
  MemberTable(const char *control, const char *name, const char *sentence)
      : controlName(control), className(name), help(sentence) {}

  std::string controlName; ///< "VeltoHsms"
  std::string className;   ///< "CVeltoHsmsCtrl"
  std::string help;
  std::vector<Member> members;

  /// By name, without regard to letter case; null when there is none. A property or method is
  /// found before an event of the same name.
  const Member *find(std::string_view name) const;
  const Member *find(std::string_view name, Member::Kind kind) const;
  /// By id; events have ids of their own, `kind` tells which.
  const Member *find(int id, Member::Kind kind) const;

  /// Once the members are complete: finding one takes no walk through all of them.
  void index();

private:
  std::span<const uint16_t> named(std::string_view name) const;

  std::vector<uint16_t> byName_; ///< places in `members`, in the order of the names
  std::vector<uint16_t> byId_;
};

/// The enumerations that members and arguments of the tables have, each once.
std::vector<const Enumeration *> enumerationsOf(std::span<const MemberTable *const> tables);

namespace detail {

template <typename> struct Signature;
template <typename C, typename R, typename... A> struct Signature<R (C::*)(A...)> {
  using Class = C;
  using Result = std::remove_cvref_t<R>;
  using Parameters = std::tuple<std::remove_cvref_t<A>...>;
};
template <typename C, typename R, typename... A>
struct Signature<R (C::*)(A...) const> : Signature<R (C::*)(A...)> {};

template <auto Function> using Parameters = typename Signature<decltype(Function)>::Parameters;
template <auto Function> using Result = typename Signature<decltype(Function)>::Result;
template <auto Function> inline constexpr size_t kArity = std::tuple_size_v<Parameters<Function>>;

/// The names of exactly N arguments; another number does not compile. (A consteval constructor in
/// the expression of a static table makes clang 14 destroy that expression's temporaries at every
/// call.)
template <size_t N> struct ArgumentNames {
  template <std::convertible_to<const char *>... Name>
  requires(sizeof...(Name) == N) constexpr ArgumentNames(Name... name) : names{name...} {}

  std::array<const char *, N> names;
};

template <typename Tuple, size_t... I>
std::vector<Argument> declare([[maybe_unused]] const ArgumentNames<sizeof...(I)> &arguments,
                              std::index_sequence<I...>) {
  return {Argument{arguments.names[I], ValueTraits<std::tuple_element_t<I, Tuple>>::kType}...};
}

template <typename Tuple>
std::vector<Argument> declare(const ArgumentNames<std::tuple_size_v<Tuple>> &arguments) {
  return declare<Tuple>(arguments, std::make_index_sequence<std::tuple_size_v<Tuple>>{});
}

/// Calls Function with the first values as its first arguments, then with `last`.
template <auto Function, typename C, size_t... I, typename... Last>
Variant invoke(C &control, [[maybe_unused]] Arguments values, std::index_sequence<I...>,
               Last &&...last) {
  using P = Parameters<Function>;
  if constexpr (std::is_void_v<Result<Function>>) {
    (control.*Function)(ValueTraits<std::tuple_element_t<I, P>>::from(values[I])...,
                        std::forward<Last>(last)...);
    return {};
  } else {
    return Variant((control.*Function)(ValueTraits<std::tuple_element_t<I, P>>::from(values[I])...,
                                       std::forward<Last>(last)...));
  }
}

} // namespace detail

/// Builds the table of control class C from its member functions:
///
///     Members<CVeltoHsmsCtrl>("VeltoHsms", "CVeltoHsmsCtrl", "HSMS connections.")
///         .property<&C::T3, &C::SetT3>(10, "T3", "Reply time-out in ms.", 45000)
///         .method<&C::Disconnect>(21, "Disconnect", {"lpszIPAddress", "lPortNumber"}, "…")
///         .event<std::string, int32_t>(1, "Connected", {"lpszIPAddress", "lPortNumber"}, "…")
///         .build();
///
/// What follows a row says more of its member: `.unit("ms")`, `.range(1, 120)`, `.of(states())`,
/// and of an argument `.of("sNewState", states())`.
///
/// The members that every control has come behind those of the class. `Self` is the class that is
/// used, so that one with rows of its own chains as well.
template <typename C, typename Self> class MembersOf {
  template <auto Function> using Names = detail::ArgumentNames<detail::kArity<Function>>;

public:
  MembersOf(const char *controlName, const char *className, const char *help)
      : table_(controlName, className, help) {}

  /// A property to read and write; with `persisted`, kept in the property bag.
  template <auto Get, auto Set>
  Self &property(int id, const char *name, const char *help,
                 const std::optional<Variant> &persisted = std::nullopt) {
    Member &member = addProperty<Get, Set>(id, name, {}, help);
    if (persisted)
      member.persisted = persisted->as(member.type);
    return self();
  }

  template <auto Get> Self &readOnly(int id, const char *name, const char *help) {
    addReadOnly<Get>(id, name, {}, help);
    return self();
  }

  /// A property with an index: `Get(index…)`, `Set(index…, value)`.
  template <auto Get, auto Set>
  Self &indexed(int id, const char *name, Names<Get> index, const char *help) {
    addProperty<Get, Set>(id, name, index, help);
    return self();
  }

  template <auto Get>
  Self &readOnlyIndexed(int id, const char *name, Names<Get> index, const char *help) {
    addReadOnly<Get>(id, name, index, help);
    return self();
  }

  template <auto Function>
  Self &method(int id, const char *name, Names<Function> arguments, const char *help) {
    add<Function>(id, name, Member::Kind::Method, arguments, help).call = &thunk<Function>;
    return self();
  }

  template <typename... A>
  Self &event(int id, const char *name, detail::ArgumentNames<sizeof...(A)> arguments,
              const char *help) {
    Member &member = table_.members.emplace_back();
    member.id = id;
    member.name = name;
    member.kind = Member::Kind::Event;
    member.arguments = detail::declare<std::tuple<A...>>(arguments);
    member.help = help;
    return self();
  }

  Self &unit(const char *unit) {
    last().unit = unit;
    return self();
  }
  Self &range(int64_t minimum, int64_t maximum = std::numeric_limits<int32_t>::max()) {
    last().range = {minimum, maximum};
    return self();
  }
  Self &range(const NumberRange &range) {
    last().range = range;
    return self();
  }
  /// A range that the control does not enforce.
  Self &sensible(int64_t minimum, int64_t maximum = std::numeric_limits<int32_t>::max()) {
    last().range = {minimum, maximum, false};
    return self();
  }
  Self &of(const Enumeration &values) {
    last().values = &values;
    return self();
  }
  Self &of(std::string_view argument, const Enumeration &values) {
    for (Argument &candidate : last().arguments)
      if (candidate.name == argument) {
        candidate.values = &values;
        return self();
      }
    assert(false && "the member has no such argument");
    return self();
  }

  MemberTable build() {
    for (Member &member : C::stockMembers())
      table_.members.push_back(std::move(member));
    table_.index();
    return std::move(table_);
  }

  /// The members alone, as the base class declares its own.
  std::vector<Member> list() { return std::move(table_.members); }

protected:
  const std::string &controlName() const { return table_.controlName; }

private:
  Member &last() { return table_.members.back(); }
  Self &self() { return static_cast<Self &>(*this); }

  template <auto Function> static Variant thunk(Control &control, Arguments values) {
    return detail::invoke<Function>(static_cast<C &>(control), values,
                                    std::make_index_sequence<detail::kArity<Function>>{});
  }

  template <auto Function>
  Member &add(int id, const char *name, Member::Kind kind, Names<Function> arguments,
              const char *help) {
    Member &member = table_.members.emplace_back();
    member.id = id;
    member.name = name;
    member.kind = kind;
    member.type = ValueTraits<detail::Result<Function>>::kType;
    member.arguments = detail::declare<detail::Parameters<Function>>(arguments);
    member.help = help;
    return member;
  }

  template <auto Get>
  Member &addReadOnly(int id, const char *name, Names<Get> index, const char *help) {
    Member &member = add<Get>(id, name, Member::Kind::Property, index, help);
    member.get = &thunk<Get>;
    return member;
  }

  template <auto Get, auto Set>
  Member &addProperty(int id, const char *name, Names<Get> index, const char *help) {
    constexpr size_t kIndexes = detail::kArity<Get>;
    using Value = detail::Result<Get>;
    static_assert(std::is_same_v<std::tuple_element_t<kIndexes, detail::Parameters<Set>>, Value>,
                  "the setter's last argument has the getter's type");
    Member &member = addReadOnly<Get>(id, name, index, help);
    member.set = [](Control &control, Arguments values, const Variant &value) {
      detail::invoke<Set>(static_cast<C &>(control), values, std::make_index_sequence<kIndexes>{},
                          ValueTraits<Value>::from(value));
    };
    return member;
  }

  MemberTable table_;
};

template <typename C> class Members : public MembersOf<C, Members<C>> {
public:
  using MembersOf<C, Members<C>>::MembersOf;
};

} // namespace velto

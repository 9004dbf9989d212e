#pragma once

#include "secs2/item.h"
#include "secs2/item_rule.h"
#include "secs2/verify_finding.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velto {

/// The structure that a message body must have. Written as SML templates with a few additions:
///
///     <a'RULE'>      an item that the rule allows (item_rule.h); <a> an ASCII item
///     <u4> <b>       an item of that type with any number of values
///     <b 0>          … with that many values (here one); the values themselves do not count
///     { A B }        a list that begins with A and B; more children pass
///     { A B ... }    … and whose other children, from B on, all match B: none or more of B
///     {}             any list
///     {3 A}          a list of exactly three children that begins with A; {0} the empty list
///     A or B         one of them; inside a list (A or B)
///     -              no body
///     !              nothing matches
///     (empty text)   any body, or none
///
/// A body that ends before its lengths say matches nothing but the empty text.
class Structure {
public:
  /// Nothing when the text is not of that notation. Data items are those of the edition.
  static std::optional<Structure> parse(std::string_view text, E5Edition edition);
  /// The structure that an SML template states: lists match by their first children, ASCII items
  /// hold rules.
  static Structure ofTemplate(const CHSecsItem &item, E5Edition edition);

  /// Whether the body matches. `path` becomes the node path of the item that was compared last.
  /// Time grows linearly with the body.
  bool matches(const CHSecsItem &body, std::string &path) const;

  /// The first item of a body that does not match, and what it breaks; nothing where all match.
  VerifyFinding findingOf(const CHSecsItem &body) const;

  /// The text that parse() reads back as this structure.
  std::string text() const;

  bool operator==(const Structure &) const = default;

private:
  enum class Kind : uint8_t { Any, NoBody, Nothing, Choice, List, Rule, Typed };

  // The numbers of the children from the root to the item at hand.
  using Path = std::vector<uint32_t>;

  class Parser;

  // Where an item does not match. With `expected`, the item is of another kind than that; else
  // `text` says what is wrong with it.
  struct Mismatch {
    Path path;
    std::string expected;
    std::string text;
  };

  bool matchItem(const CHSecsItem &item, Path &path) const;
  bool matchList(const CHSecsItem &list, Path &path) const;
  std::optional<Mismatch> mismatchOf(const CHSecsItem &item, const Path &path) const;
  std::optional<Mismatch> listMismatch(const CHSecsItem &list, const Path &path) const;
  std::optional<Mismatch> ruleMismatch(const CHSecsItem &item, const Path &path) const;
  std::optional<Mismatch> typeMismatch(const CHSecsItem &item, const Path &path) const;
  std::optional<Mismatch> choiceMismatch(const CHSecsItem &item, const Path &path) const;
  void append(std::string &out) const;

  Kind kind_ = Kind::Any;
  bool repeats_ = false;            // List: the last child's structure holds for all that follow
  uint8_t format_ = 0;              // Typed
  std::optional<uint32_t> count_;   // List: children exactly; Typed: values
  ItemRule rule_;                   // Rule
  std::vector<Structure> children_; // List, Choice
};

} // namespace velto

#include "secs2/structure.h"

#include "base/text.h"
#include "secs2/sml_lexer.h"

namespace velto {

using Token = SmlToken::Kind;

namespace {

// Whether the input was used up before the body was complete, which shows in what comes last.
bool endsEarly(const CHSecsItem &body) {
  const CHSecsItem *last = &body;
  while (!last->decodeError() && !last->children().empty()) {
    last = &last->children().back();
    if (!last->hasData())
      return true;
  }
  return last->decodeError();
}

} // namespace

// A structure's text is cut by the scanner of SML; its additions are single characters there.
class Structure::Parser {
public:
  Parser(std::string_view text, E5Edition edition) : lexer_(text), edition_(edition) { advance(); }

  std::optional<Structure> parse() {
    if (token_.kind == Token::Period)
      return Structure();
    auto structure = choice();
    if (token_.kind != Token::Period || lexer_.next().kind != Token::End)
      return std::nullopt;
    return structure;
  }

private:
  void advance() { token_ = lexer_.next(); }

  bool isOther(std::string_view text) const {
    return token_.kind == Token::Other && token_.text == text;
  }
  bool takeOther(std::string_view text) {
    if (!isOther(text))
      return false;
    advance();
    return true;
  }
  bool takeOr() { return takeOther("o") && takeOther("r"); }

  std::optional<Structure> choice() {
    Structure choice;
    choice.kind_ = Kind::Choice;
    do {
      auto structure = alternative();
      if (!structure)
        return std::nullopt;
      choice.children_.push_back(std::move(*structure));
    } while (takeOr());
    if (choice.children_.size() == 1)
      return std::move(choice.children_.front());
    return choice;
  }

  std::optional<Structure> alternative() {
    Structure structure;
    if (takeOther("-")) {
      structure.kind_ = Kind::NoBody;
      return structure;
    }
    if (takeOther("!")) {
      structure.kind_ = Kind::Nothing;
      return structure;
    }
    return item();
  }

  std::optional<Structure> item() {
    if (token_.kind == Token::List)
      return list();
    if (token_.kind != Token::Item)
      return std::nullopt;
    const auto code = static_cast<uint8_t>(token_.integer);
    advance();
    return code == format::kAscii ? rule() : typed(code);
  }

  std::optional<Structure> list() {
    constexpr int64_t kLargestCount = 0xFFFFFF;
    constexpr int kDeepest = 32;
    Structure list;
    list.kind_ = Kind::List;
    if (++depth_ > kDeepest)
      return std::nullopt;
    advance();
    if (token_.kind == Token::Integer) {
      if (token_.integer < 0 || token_.integer > kLargestCount)
        return std::nullopt;
      list.count_ = static_cast<uint32_t>(token_.integer);
      advance();
    }
    while (token_.kind == Token::List || token_.kind == Token::Item || isOther("(")) {
      auto child = isOther("(") ? enclosedChoice() : item();
      if (!child)
        return std::nullopt;
      list.children_.push_back(std::move(*child));
    }
    if (token_.kind == Token::Period) {
      for (int dots = 0; dots < 3; ++dots, advance())
        if (token_.kind != Token::Period)
          return std::nullopt;
      list.repeats_ = true;
    }
    if (list.repeats_ && (list.children_.empty() || list.count_))
      return std::nullopt;
    --depth_;
    return close(std::move(list));
  }

  std::optional<Structure> enclosedChoice() {
    advance();
    auto structure = choice();
    return takeOther(")") ? std::move(structure) : std::nullopt;
  }

  std::optional<Structure> rule() {
    Structure item;
    item.kind_ = Kind::Rule;
    std::string_view text;
    if (token_.kind == Token::String) {
      text = token_.text;
      advance();
    }
    item.rule_ = ItemRule::parse(text, edition_);
    return close(std::move(item));
  }

  std::optional<Structure> typed(uint8_t code) {
    Structure item;
    item.kind_ = Kind::Typed;
    item.format_ = code;
    uint32_t values = 0;
    for (; token_.kind == Token::Integer || token_.kind == Token::Real; advance())
      ++values;
    if (values != 0)
      item.count_ = values;
    return close(std::move(item));
  }

  std::optional<Structure> close(Structure structure) {
    if (token_.kind != Token::Close)
      return std::nullopt;
    advance();
    return structure;
  }

  CHSmlLex lexer_;
  E5Edition edition_;
  SmlToken token_;
  int depth_ = 0;
};

std::optional<Structure> Structure::parse(std::string_view text, E5Edition edition) {
  return Parser(text, edition).parse();
}

Structure Structure::ofTemplate(const CHSecsItem &item, E5Edition edition) {
  Structure structure;
  if (!item.hasData()) {
    structure.kind_ = Kind::Nothing;
  } else if (item.isList()) {
    structure.kind_ = Kind::List;
    for (const CHSecsItem &child : item.children())
      structure.children_.push_back(ofTemplate(child, edition));
  } else if (item.format() == format::kAscii) {
    structure.kind_ = Kind::Rule;
    structure.rule_ = ItemRule::parse(item.text(), edition, false);
  } else {
    structure.kind_ = Kind::Typed;
    structure.format_ = item.format();
    if (item.count() != 0)
      structure.count_ = item.count();
  }
  return structure;
}

bool Structure::matches(const CHSecsItem &body, std::string &path) const {
  Path numbers;
  const bool matched = matchItem(body, numbers) && (kind_ == Kind::Any || !endsEarly(body));
  path = nodePath(numbers);
  return matched;
}

bool Structure::matchItem(const CHSecsItem &item, Path &path) const {
  if (kind_ == Kind::Any)
    return true;
  if (item.decodeError())
    return false; // what is left of it must not pass for an empty item, which may mean everything
  switch (kind_) {
  case Kind::NoBody:
    return !item.hasData();
  case Kind::Nothing:
    return false;
  case Kind::List:
    return matchList(item, path);
  case Kind::Rule:
    return rule_.matches(item);
  case Kind::Typed:
    return item.hasData() && item.format() == format_ && (!count_ || item.count() == *count_);
  case Kind::Any:
  case Kind::Choice:
    break;
  }
  const size_t depth = path.size();
  for (const Structure &alternative : children_) {
    path.resize(depth);
    if (alternative.matchItem(item, path))
      return true;
  }
  return false;
}

// The path ends at the item that was compared last.
bool Structure::matchList(const CHSecsItem &list, Path &path) const {
  if (!list.isList() || (count_ && list.count() != *count_))
    return false;
  const size_t fixed = children_.size() - (repeats_ ? 1 : 0);
  const size_t compared = repeats_ ? std::max<size_t>(fixed, list.count()) : fixed;
  const size_t depth = path.size();
  for (size_t i = 0; i < compared; ++i) {
    path.resize(depth);
    path.push_back(static_cast<uint32_t>(i + 1));
    if (i >= list.count() ||
        !children_[std::min(i, children_.size() - 1)].matchItem(list.children()[i], path))
      return false;
  }
  return true;
}

std::string Structure::text() const {
  std::string out;
  append(out);
  return out;
}

void Structure::append(std::string &out) const {
  switch (kind_) {
  case Kind::Any:
    break;
  case Kind::NoBody:
    out += '-';
    break;
  case Kind::Nothing:
    out += '!';
    break;
  case Kind::Choice:
    for (const Structure &alternative : children_) {
      out += &alternative == &children_.front() ? "" : " or ";
      alternative.append(out);
    }
    break;
  case Kind::List:
    out += '{';
    if (count_)
      out += std::to_string(*count_) + (children_.empty() ? "" : " ");
    for (const Structure &child : children_) {
      out += &child == &children_.front() ? "" : " ";
      out += child.kind_ == Kind::Choice ? "(" : "";
      child.append(out);
      out += child.kind_ == Kind::Choice ? ")" : "";
    }
    out += repeats_ ? "...}" : "}";
    break;
  case Kind::Rule: {
    const std::string rule = rule_.text();
    out += rule.empty() ? "<a>" : "<a'" + rule + "'>";
    break;
  }
  case Kind::Typed:
    out += TypeName(format_, TypeNameMode::LowerTag);
    for (uint32_t i = 0; i < count_.value_or(0); ++i)
      out += " 0";
    out += '>';
    break;
  }
}

} // namespace velto

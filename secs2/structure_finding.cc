// Why a body does not match its structure: the walk of Structure::matches() once more, for people.

#include "base/text.h"
#include "secs2/structure.h"

#include <algorithm>

namespace velto {

namespace {

using Numbers = std::vector<uint32_t>;

Numbers below(Numbers path, size_t child) {
  path.push_back(static_cast<uint32_t>(child));
  return path;
}

// What stands there, for people.
std::string kindOf(const CHSecsItem &item) {
  if (!item.hasData())
    return "nothing";
  if (item.isList())
    return "a list";
  return std::string(TypeName(item.format(), TypeNameMode::LowerTag)).substr(1);
}

std::string countOf(size_t count) {
  return std::to_string(count) + (count == 1 ? " item" : " items");
}

std::string wireFault(const CHSecsItem &item) {
  if (item.decodeError())
    return "ends before its length says";
  if ((item.wireFaults() & WireFaultLength) != 0)
    return "length is no multiple of " + std::to_string(elementSize(item.format()));
  if ((item.wireFaults() & WireFaultHead) != 0)
    return "has no length byte";
  if ((item.wireFaults() & WireFaultFormat) != 0)
    return "unknown format code " + std::to_string(item.format());
  return (item.wireFaults() & WireFaultBehind) != 0 ? "bytes behind the item" : "";
}

// What is decoded is not deeper than kMaxDepth.
VerifyFinding wireFinding(const CHSecsItem &item, Numbers &path) {
  const bool missing = !path.empty() && !item.hasData() && !item.decodeError();
  if (const std::string fault = missing ? "is announced and missing" : wireFault(item);
      !fault.empty())
    return {nodePath(path), fault};
  if (path.size() == CHSecsItem::kMaxDepth)
    return {};
  path.push_back(0);
  for (const CHSecsItem &child : item.children()) {
    ++path.back();
    if (VerifyFinding finding = wireFinding(child, path))
      return finding;
  }
  path.pop_back();
  return {};
}

} // namespace

std::string nodePath(std::span<const uint32_t> numbers) {
  std::string path;
  for (const uint32_t number : numbers) {
    if (!path.empty())
      path += '/';
    appendDecimal(path, static_cast<uint64_t>(number));
  }
  return path;
}

VerifyFinding wireFinding(const CHSecsItem &body) {
  Numbers path;
  return wireFinding(body, path);
}

VerifyFinding Structure::findingOf(const CHSecsItem &body) const {
  const auto mismatch = mismatchOf(body, {});
  if (!mismatch)
    return {};
  return {nodePath(mismatch->path), mismatch->text};
}

std::optional<Structure::Mismatch> Structure::mismatchOf(const CHSecsItem &item,
                                                         const Path &path) const {
  switch (kind_) {
  case Kind::NoBody:
    return item.hasData() ? std::optional(Mismatch{path, "", "no body is allowed"}) : std::nullopt;
  case Kind::Nothing:
    return Mismatch{path, "", "this edition allows no such message"};
  case Kind::List:
    return listMismatch(item, path);
  case Kind::Rule:
    return ruleMismatch(item, path);
  case Kind::Typed:
    return typeMismatch(item, path);
  case Kind::Choice:
    return choiceMismatch(item, path);
  case Kind::Any:
    break;
  }
  return std::nullopt;
}

std::optional<Structure::Mismatch> Structure::listMismatch(const CHSecsItem &list,
                                                           const Path &path) const {
  if (!list.isList())
    return Mismatch{path, "a list", kindOf(list) + " instead of a list"};
  if (count_ && list.count() != *count_)
    return Mismatch{path, "", countOf(list.count()) + " instead of " + std::to_string(*count_)};
  const size_t fixed = children_.size() - (repeats_ ? 1 : 0);
  const size_t compared = repeats_ ? std::max<size_t>(fixed, list.count()) : fixed;
  for (size_t i = 0; i < compared; ++i) {
    if (i >= list.count())
      return Mismatch{path, "", countOf(list.count()) + " instead of " + std::to_string(fixed)};
    const Structure &child = children_[std::min(i, children_.size() - 1)];
    if (auto mismatch = child.mismatchOf(list.children()[i], below(path, i + 1)))
      return mismatch;
  }
  return std::nullopt;
}

std::optional<Structure::Mismatch> Structure::ruleMismatch(const CHSecsItem &item,
                                                           const Path &path) const {
  const std::string subject = rule_.subject();
  switch (rule_.breach(item)) {
  case ItemRule::Breach::Format:
    return Mismatch{path, rule_.expected(), kindOf(item) + " instead of " + rule_.expected()};
  case ItemRule::Breach::TooShort:
    return Mismatch{path, "", subject + " shorter than " + std::to_string(rule_.minimum)};
  case ItemRule::Breach::TooLong:
    return Mismatch{path, "", subject + " longer than " + std::to_string(rule_.maximum)};
  case ItemRule::Breach::Value:
    return Mismatch{path, "", subject + " without a right value"};
  case ItemRule::Breach::None:
    break;
  }
  return std::nullopt;
}

std::optional<Structure::Mismatch> Structure::typeMismatch(const CHSecsItem &item,
                                                           const Path &path) const {
  const std::string type = std::string(TypeName(format_, TypeNameMode::LowerTag)).substr(1);
  if (!item.hasData() || item.format() != format_)
    return Mismatch{path, type, kindOf(item) + " instead of " + type};
  if (count_ && item.count() != *count_)
    return Mismatch{path, "",
                    std::to_string(item.count()) + " values instead of " + std::to_string(*count_)};
  return std::nullopt;
}

// The alternative that comes farthest says it. Where several end at one item for its kind, all of
// them name theirs.
std::optional<Structure::Mismatch> Structure::choiceMismatch(const CHSecsItem &item,
                                                             const Path &path) const {
  std::optional<Mismatch> farthest;
  for (const Structure &alternative : children_) {
    auto mismatch = alternative.mismatchOf(item, path);
    if (!mismatch)
      return std::nullopt;
    if (!farthest || farthest->path < mismatch->path) {
      farthest = std::move(mismatch);
    } else if (farthest->path == mismatch->path && !farthest->expected.empty()) {
      if (mismatch->expected.empty()) {
        farthest = std::move(mismatch);
      } else if (farthest->expected != mismatch->expected) {
        farthest->expected += " or " + mismatch->expected;
        farthest->text += " or " + mismatch->expected;
      }
    }
  }
  return farthest;
}

} // namespace velto

#include "gem/model_text/model_update.h"

#include "gem/model_text/model_file.h"
#include "gem/model_text/model_text.h"

#include <string_view>

namespace velto {

namespace {

using Commands = std::vector<CHGemCommand>;

// What all kinds of objects have in common: a list, a number or name by which they are found there.

size_t countOf(const auto &list) { return list.Count(); }
size_t countOf(const Commands &list) { return list.size(); }
const auto &objectAt(const auto &list, size_t index) { return list.at(index); }

template <typename T>
const T *counterpart(const NumberedList<T> &list, const std::type_identity_t<T> &object) {
  return list.find(object.number());
}
const CHGemEventReport *counterpart(const CHGemEventReportList &list,
                                    const CHGemEventReport &object) {
  return list.FindReport(object.rptid);
}
const CHGemCommand *counterpart(const Commands &list, const CHGemCommand &object) {
  return findCommand(list, object.name);
}

void addTo(auto &list, const auto &object) { list.Add(object); }
void addTo(Commands &list, const CHGemCommand &object) { list.push_back(object); }

std::string nameOf(const char *kind, const auto &object) {
  return std::string(kind) + ' ' + std::to_string(object.number());
}
std::string nameOf(const char *kind, const CHGemCommand &object) {
  return std::string(kind) + ' ' + object.name;
}

} // namespace

std::string ModelUpdate::read() {
  auto content = files_.read(text_);
  if (!content)
    return text_ + ": cannot be read";
  ModelTextError error;
  auto model = modelFromText(*content, error);
  if (!model)
    return text_ + ':' + std::to_string(error.line) + ": " + error.reason;
  if (!imported_) {
    const std::string copy = importedCopy(data_);
    imported_ = modelFromText(files_.read(copy).value_or(""), error);
    if (!imported_)
      return copy + ':' + std::to_string(error.line) + ": " + error.reason;
  }
  content_ = std::move(*content);
  read_ = std::move(model);
  return "";
}

// What an earlier call has added is not in the import, but in the text that this one read; what the
// host has deleted since stays deleted.
template <typename List>
void ModelUpdate::take(const char *kind, List GemData::*list, GemData &live, const GemData &last) {
  const List &now = *read_.*list;
  for (size_t i = 0; i < countOf(now); ++i) {
    const auto &object = objectAt(now, i);
    const auto *imported = counterpart(*imported_.*list, object);
    const auto *known = imported != nullptr ? imported : counterpart(last.*list, object);
    if (known != nullptr && *known == object)
      continue;
    if (known != nullptr || counterpart(live.*list, object) != nullptr) {
      left_.push_back(nameOf(kind, object));
      continue;
    }
    addTo(live.*list, object);
    added_.push_back(nameOf(kind, object));
  }
  for (size_t i = 0; i < countOf(*imported_.*list); ++i)
    if (const auto &object = objectAt(*imported_.*list, i); counterpart(now, object) == nullptr)
      left_.push_back(nameOf(kind, object));
}

bool ModelUpdate::apply(GemData &live) {
  added_.clear();
  left_.clear();
  const GemData none;
  const GemData &last = applied_ ? *applied_ : none;
  take("vid", &GemData::variables, live, last);
  take("rptid", &GemData::reports, live, last);
  take("ceid", &GemData::events, live, last);
  take("alid", &GemData::alarms, live, last);
  take("command", &GemData::commands, live, last);
  if (read_->communication != imported_->communication)
    left_.emplace_back("[communication]");
  if (read_->control != imported_->control)
    left_.emplace_back("[control]");
  if (read_->changePCClock != imported_->changePCClock)
    left_.emplace_back("[clock]");
  applied_ = std::move(read_);
  read_.reset();
  return left_.empty();
}

bool ModelUpdate::noteImported() {
  if (!files_.replace(importedCopy(data_), content_))
    return false;
  imported_ = std::move(applied_);
  applied_.reset();
  return true;
}

} // namespace velto

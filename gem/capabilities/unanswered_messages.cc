#include "gem/capabilities/unanswered_messages.h"

#include "secs2/transaction.h"

#include <algorithm>
#include <span>
#include <utility>

namespace velto {

void CHGemUnansweredMessages::add(const CHSecsHeader &header, ByteView body, size_t most,
                                  uint64_t room) {
  Bytes bytes(CHSecsHeader::kSize);
  bytes.reserve(bytes.size() + body.size());
  EncodeHeader(header, std::span(bytes).first<CHSecsHeader::kSize>());
  bytes.insert(bytes.end(), body.begin(), body.end());
  size_ += bytes.size();
  entries_.push_back({header, std::move(bytes), std::nullopt});
  while (!entries_.empty() && (entries_.size() > most || size_ > room))
    erase(entries_.begin());
}

std::optional<CHGemUnansweredMessages::Entry>
CHGemUnansweredMessages::takeAnswered(const CHSecsMessage &answer) {
  if (entries_.empty())
    return std::nullopt;
  const auto found =
      std::ranges::find_if(entries_, [&, mhead = readMhead(answer)](const Entry &sent) {
        return answers(answer.header, mhead, sent.header);
      });
  if (found == entries_.end())
    return std::nullopt;
  Entry entry{found->header, {}, found->spooledAs};
  erase(found);
  return entry;
}

bool CHGemUnansweredMessages::holds(uint32_t systemBytes) const {
  return std::ranges::any_of(
      entries_, [=](const Entry &entry) { return entry.header.systemBytes == systemBytes; });
}

void CHGemUnansweredMessages::remove(uint32_t systemBytes) {
  const auto found = std::ranges::find_if(
      entries_, [=](const Entry &entry) { return entry.header.systemBytes == systemBytes; });
  if (found != entries_.end())
    erase(found);
}

void CHGemUnansweredMessages::clear() {
  entries_.clear();
  size_ = 0;
}

void CHGemUnansweredMessages::erase(const std::deque<Entry>::iterator &entry) {
  size_ -= entry->message.size();
  entries_.erase(entry);
}

} // namespace velto

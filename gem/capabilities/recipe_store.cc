#include "gem/capabilities/recipe_store.h"

#include "base/text.h"
#include "gem/data/archive.h"
#include "secs2/item_codec.h"
#include "secs2/message.h"

#include <algorithm>
#include <cerrno>

namespace velto {

namespace {

constexpr ArchiveClass kRecipe{"CHGemRecipe", 1};
constexpr size_t kRecipeHead = 1024; // bytes of a file besides the body, and more
constexpr std::string_view kRecipeEnding = ".pp";
constexpr char kEscape = '%';        // and two digits, in front of what a file name may not hold
constexpr char kAllDigits = '=';     // a PPID that gets too long so is written in digits alone
constexpr size_t kLongestStem = 240; // of 255, less endings

bool isPlain(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
         c == '_';
}

ByteView bytesOfText(std::string_view text) {
  return {reinterpret_cast<const uint8_t *>(text.data()), text.size()};
}

std::string recipeStem(std::string_view ppid) {
  std::string stem;
  for (const char &c : ppid) {
    if (isPlain(c)) {
      stem += c;
      continue;
    }
    stem += kEscape;
    appendHex(stem, bytesOfText({&c, 1}));
  }
  return stem.size() <= kLongestStem ? stem : kAllDigits + toHex(bytesOfText(ppid));
}

// The PPID of a file; nothing when the name is none that was given here.
std::optional<std::string> recipeName(std::string_view file) {
  if (!file.ends_with(kRecipeEnding))
    return std::nullopt;
  const std::string_view stem = file.substr(0, file.size() - kRecipeEnding.size());
  std::string ppid;
  for (size_t i = 0; i < stem.size();) {
    if (i == 0 ? stem[i] != kAllDigits && stem[i] != kEscape : stem[i] != kEscape) {
      ppid += stem[i++];
      continue;
    }
    const size_t digits = stem[i] == kAllDigits ? stem.size() - 1 : 2;
    const Bytes bytes = fromHex(stem.substr(i + 1, digits));
    ppid.append(bytes.begin(), bytes.end());
    i += 1 + digits;
  }
  const bool given = CHGemRecipeStore::isName(ppid) && recipeStem(ppid) == stem;
  return given ? std::optional(std::move(ppid)) : std::nullopt;
}

} // namespace

std::string CHGemRecipeStore::pathOf(std::string_view ppid) const {
  return (folder_ + '/' + recipeStem(ppid)).append(kRecipeEnding);
}

std::vector<std::string> CHGemRecipeStore::names() const {
  std::vector<std::string> names;
  for (const std::string &file : files_.list(folder_).value_or(std::vector<std::string>()))
    if (auto ppid = recipeName(file))
      names.push_back(std::move(*ppid));
  std::ranges::sort(names);
  return names;
}

bool CHGemRecipeStore::holds(std::string_view ppid) const {
  return isName(ppid) && files_.size(pathOf(ppid)).has_value();
}

std::optional<CHSecsItem> CHGemRecipeStore::find(std::string_view ppid) const {
  const std::string path = isName(ppid) ? pathOf(ppid) : "";
  const auto size = files_.size(path);
  if (!size || *size > CHSecsMessage::kMaxEncodedSize + kRecipeHead)
    return std::nullopt;
  const auto file = files_.read(path);
  if (!file)
    return std::nullopt;
  ArchiveReader archive(*file);
  std::string name;
  std::string encoded;
  archive.object(kRecipe.name);
  archive.fields(name, encoded);
  CHSecsItem body;
  const bool whole = archive.finished() && name == ppid &&
                     DecodeItem(body, bytesOfText(encoded)) == encoded.size() && body.hasData() &&
                     ReadsBackAsItIs(body);
  return whole ? std::optional(std::move(body)) : std::nullopt;
}

bool CHGemRecipeStore::put(std::string_view ppid, const CHSecsItem &body) {
  const size_t size = EncodedItemSize(body).value_or(0);
  errno = 0;
  if (!isName(ppid) || size == 0 || size > CHSecsMessage::kMaxEncodedSize || !ReadsBackAsItIs(body))
    return false;
  std::string encoded(size, '\0');
  EncodeItem(body, reinterpret_cast<uint8_t *>(encoded.data()));
  ArchiveWriter archive;
  archive.object(kRecipe);
  archive.fields(ppid, std::string_view(encoded));
  const bool wasCounted = isCounted();
  const bool isNew = !holds(ppid);
  const bool done = files_.makeFolder(folder_) && files_.replace(pathOf(ppid), archive.bytes());
  const int error = errno;
  recount(done && wasCounted, isNew ? 1 : 0);
  errno = error;
  return done;
}

bool CHGemRecipeStore::remove(std::string_view ppid) {
  const bool wasCounted = isCounted();
  const bool done = isName(ppid) && files_.remove(pathOf(ppid));
  recount(wasCounted, done ? -1 : 0);
  return done;
}

size_t CHGemRecipeStore::count() {
  if (!isCounted()) {
    const auto changedAt = files_.changedAt(folder_); // before: what comes meanwhile counts anew
    const size_t programs = names().size();
    if (!changedAt)
      return programs;
    count_ = {*changedAt, programs};
  }
  return count_->programs;
}

bool CHGemRecipeStore::isCounted() const {
  return count_ && files_.changedAt(folder_) == count_->changedAt;
}

// Behind a change of its own. What another hand does in the same moment of the file system's clock
// is seen with the next change of another hand.
void CHGemRecipeStore::recount(bool wasCounted, int difference) {
  const auto changedAt = wasCounted ? files_.changedAt(folder_) : std::nullopt;
  if (changedAt)
    count_ = {*changedAt, count_->programs + static_cast<size_t>(difference)};
  else
    count_.reset();
}

void CHGemRecipeStore::flush() const { files_.syncDirectory(folder_ + '/'); }

} // namespace velto

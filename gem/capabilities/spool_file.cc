#include "gem/capabilities/spool_file.h"

#include "gem/data/data_file.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

namespace velto {

namespace {

// A record is its checksum, the size of what follows, and its fields as an archive has them, the
// first of which is its kind.
enum SpoolRecord : uint8_t { SpoolBegan = 1, SpoolMessage = 2, SpoolGone = 3, SpoolAnswered = 4 };

constexpr size_t kNumber = 4;               // bytes of checksum and size
constexpr size_t kRecordHead = 2 * kNumber; // bytes
constexpr size_t kMessageOverhead = 20;     // bytes of its record at the most, besides the message
constexpr uint64_t kWorthCompacting = uint64_t{1024} * 1024; // bytes of the file that nobody needs

constexpr auto kCrcTable = [] {
  std::array<uint32_t, 256> table{};
  for (uint32_t byte = 0; byte < table.size(); ++byte) {
    uint32_t value = byte;
    for (int bit = 0; bit < 8; ++bit)
      value = (value >> 1) ^ ((value & 1) != 0 ? 0xEDB88320U : 0U);
    table[byte] = value;
  }
  return table;
}();

// CRC-32 (ISO 3309).
uint32_t crcOf(std::string_view bytes) {
  uint32_t crc = 0xFFFFFFFF;
  for (const char byte : bytes)
    crc = kCrcTable[(crc ^ static_cast<uint8_t>(byte)) & 0xFF] ^ (crc >> 8);
  return ~crc;
}

template <typename... Fields> std::string recordOf(SpoolRecord kind, const Fields &...values) {
  ArchiveWriter fields;
  fields.field(static_cast<uint8_t>(kind));
  fields.fields(values...);
  ArchiveWriter size;
  size.field(static_cast<uint32_t>(fields.bytes().size()));
  const std::string checked = size.take() + fields.bytes();
  ArchiveWriter record;
  record.field(crcOf(checked));
  return record.take() + checked;
}

uint32_t numberAt(std::string_view bytes, size_t at) {
  ArchiveReader reader(bytes.substr(at, kNumber));
  uint32_t number = 0;
  reader.field(number);
  return number;
}

// The record at the front of the bytes as its head tells its length; empty when there is none.
std::string_view frontRecord(std::string_view bytes) {
  if (bytes.size() < kRecordHead)
    return {};
  const uint64_t size = uint64_t{numberAt(bytes, kNumber)} + kRecordHead;
  return size > bytes.size() ? std::string_view() : bytes.substr(0, size);
}

bool checks(std::string_view record) {
  return !record.empty() && numberAt(record, 0) == crcOf(record.substr(kNumber));
}

// Whether its fields are those of its kind, which hardly anything else can be taken for.
bool hasItsFields(std::string_view record) {
  if (record.empty())
    return false;
  ArchiveReader fields(record.substr(kRecordHead));
  uint8_t kind = 0;
  uint32_t number = 0;
  std::string text;
  fields.fields(kind, number);
  if (kind == SpoolBegan || kind == SpoolMessage)
    fields.field(text);
  if (kind == SpoolBegan)
    fields.field(text);
  return kind >= SpoolBegan && kind <= SpoolAnswered && fields.finished();
}

// Bytes up to the next record that checks, where the front does not: those of the record in front,
// as its head has them, when they lead to one. What else may look like a record is in a message.
size_t damagedSize(std::string_view bytes) {
  const size_t size = frontRecord(bytes).size();
  if (size != 0 && (size == bytes.size() || checks(frontRecord(bytes.substr(size)))))
    return size;
  for (size_t at = 1; at < bytes.size(); ++at)
    if (const auto record = frontRecord(bytes.substr(at)); hasItsFields(record) && checks(record))
      return at;
  return bytes.size();
}

std::string_view textOf(ByteView bytes) {
  return {reinterpret_cast<const char *>(bytes.data()), bytes.size()};
}

} // namespace

// The file as it is found -------------------------------------------------------------------------

bool CHGemSpoolFile::attach() {
  FileSystem &files = host_->files();
  const std::string path = host_->dataFile() + std::string(kEnding);
  if (active_) {
    dataFile_ = host_->dataFile();
    if (!files.size(path) && files.rename(path_, path))
      path_ = path;
    return true;
  }
  detach();
  attached_ = true;
  dataFile_ = host_->dataFile();
  path_ = path;
  const auto size = files.size(path_);
  if (!size)
    return true;
  const auto bytes = readDataFile(files, path_);
  torn_ = damaged_ = !bytes || !read(*bytes);
  size_ = *size;
  if (!damaged_)
    return true;
  if (active_)
    rewrite();
  else if (bytes && keepDamagedFile(files, path_)) {
    files.remove(path_);
    damaged_ = false;
    size_ = 0;
  }
  return false;
}

void CHGemSpoolFile::detach() { *this = CHGemSpoolFile(*host_); }

// What lies behind a damaged part is taken all the same.
bool CHGemSpoolFile::read(std::string_view bytes) {
  bool whole = true;
  while (!bytes.empty()) {
    const std::string_view record = frontRecord(bytes);
    const bool good = checks(record);
    whole = good && take(record) && whole;
    bytes.remove_prefix(good ? record.size() : damagedSize(bytes));
  }
  return whole;
}

bool CHGemSpoolFile::take(std::string_view record) {
  ArchiveReader fields(record.substr(kRecordHead));
  uint8_t kind = 0;
  uint32_t number = 0;
  fields.fields(kind, number);
  switch (kind) {
  case SpoolBegan:
    total_ = number;
    fields.fields(startTime_, fullTime_);
    active_ = !fields.failed();
    return active_;
  case SpoolMessage:
    ++total_;
    next_ = number + 1;
    live_ += record.size();
    messages_.push_back({number, std::string(record)});
    return std::exchange(active_, true);
  case SpoolGone:
    dropUpTo(number);
    return true;
  case SpoolAnswered:
    erase(number);
    return true;
  default: // of another release
    return !fields.failed();
  }
}

// Numbers may begin anew after the greatest one.
void CHGemSpoolFile::dropUpTo(uint32_t number) {
  while (!messages_.empty() && static_cast<int32_t>(messages_.front().number - number) <= 0)
    removeOldest();
}

// Messages ----------------------------------------------------------------------------------------

void CHGemSpoolFile::begin(std::string startTime) {
  active_ = true;
  startTime_ = std::move(startTime);
  fullTime_.clear();
  total_ = 0;
  torn_ = true;
  rewrite();
}

void CHGemSpoolFile::noteFull(std::string fullTime) {
  fullTime_ = std::move(fullTime);
  write(beganRecord(total_), Safe::FromExit);
}

size_t CHGemSpoolFile::surplus(size_t messageSize, size_t messages, uint64_t bytes) const {
  const uint64_t size = messageSize + kMessageOverhead;
  size_t dropped = 0;
  uint64_t left = live_;
  while (dropped < messages_.size() &&
         (messages_.size() - dropped >= messages || left + size > bytes))
    left -= messages_[dropped++].record.size();
  return messages == 0 || left + size > bytes ? dropped + 1 : dropped;
}

bool CHGemSpoolFile::add(ByteView message, size_t dropped, Safe safe) {
  Message added{next_, recordOf(SpoolMessage, next_, textOf(message))};
  std::string records;
  if (dropped > 0)
    records = recordOf(SpoolGone, messages_[dropped - 1].number);
  if (!write(records + added.record, safe))
    return false;
  for (; dropped > 0; --dropped)
    removeOldest();
  ++next_;
  ++total_;
  live_ += added.record.size();
  messages_.push_back(std::move(added));
  compact();
  return true;
}

CHSecsMessage CHGemSpoolFile::firstMessage() const {
  ArchiveReader fields(std::string_view(messages_.front().record).substr(kRecordHead));
  uint8_t kind = 0;
  uint32_t number = 0;
  std::string bytes;
  fields.fields(kind, number, bytes);
  CHSecsMessage message;
  message.Decode({reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size()});
  message.header.systemBytes = 0;
  return message;
}

void CHGemSpoolFile::removeOldest() {
  live_ -= messages_.front().record.size();
  messages_.pop_front();
}

void CHGemSpoolFile::removeFirst() {
  write(recordOf(SpoolGone, firstNumber()), Safe::FromExit);
  removeOldest();
  compact();
}

bool CHGemSpoolFile::erase(uint32_t number) {
  const auto found = std::ranges::find(messages_, number, &Message::number);
  if (found == messages_.end())
    return false;
  live_ -= found->record.size();
  messages_.erase(found);
  return true;
}

bool CHGemSpoolFile::remove(uint32_t number) {
  if (!erase(number))
    return false;
  write(recordOf(SpoolAnswered, number), Safe::FromExit);
  compact();
  return true;
}

// A name that is gone may come back with a power loss: so the file is emptied first.
bool CHGemSpoolFile::end() {
  FileSystem &files = host_->files();
  const bool emptied = files.cut(path_, 0) && files.flush(path_);
  const bool ended = files.remove(path_) || emptied;
  CHGemSpoolFile fresh(*host_);
  fresh.attached_ = attached_;
  fresh.dataFile_ = dataFile_;
  fresh.path_ = path_;
  *this = std::move(fresh);
  return ended;
}

// Writing -----------------------------------------------------------------------------------------

std::string CHGemSpoolFile::beganRecord(uint32_t total) const {
  return recordOf(SpoolBegan, total, std::string_view(startTime_), std::string_view(fullTime_));
}

// What could be written only in part is cut off again: nothing may follow it.
bool CHGemSpoolFile::write(std::string_view records, Safe safe) {
  FileSystem &files = host_->files();
  if ((torn_ || size_ + records.size() > kMaxDataFile) && !rewrite())
    return false;
  if (files.append(path_, records) && (safe == Safe::FromExit || files.flush(path_))) {
    size_ += records.size();
    return true;
  }
  torn_ = !files.cut(path_, size_);
  return false;
}

// The file is then the old one or the new one, whole.
bool CHGemSpoolFile::rewrite() {
  FileSystem &files = host_->files();
  if (damaged_ && !keepDamagedFile(files, path_))
    return false;
  std::string bytes = beganRecord(total_ - static_cast<uint32_t>(messages_.size()));
  bytes.reserve(bytes.size() + live_);
  for (const Message &message : messages_)
    bytes += message.record;
  if (!files.replace(path_, bytes)) {
    torn_ = torn_ || files.size(path_) != size_;
    return false;
  }
  size_ = bytes.size();
  torn_ = damaged_ = false;
  return true;
}

// What has gone takes no more room than what is there, or little.
void CHGemSpoolFile::compact() {
  if (size_ - live_ > std::max(live_, kWorthCompacting) && size_ > patience_ && !rewrite())
    patience_ = size_ + kWorthCompacting;
}

} // namespace velto

#pragma once

#include "gem/capabilities/capability.h"
#include "secs2/message.h"

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>

namespace velto {

/// The messages that wait in the spool, in their order, and the file that keeps them beside the
/// model data file. The file is there while spooling is active.
///
/// It is a row of records, each with a checksum: what began, a message, and how many messages have
/// gone. A message is on the disk before add() returns. That one has gone is not flushed each
/// time: it survives the end of the process, but a power loss may bring the last ones back.
class CHGemSpoolFile {
public:
  static constexpr std::string_view kEnding = ".spool";

  explicit CHGemSpoolFile(GemCapabilityOwner &host) : host_(&host) {}

  /// Whether what is here is that of the present data file.
  bool isAttached() const { return attached_ && dataFile_ == host_->dataFile(); }
  /// Takes over the spool of the present data file; one that is active goes with the data file to
  /// its new name. False when a part of it could not be read: that file is then kept, with
  /// ".damaged" behind its name.
  bool attach();
  /// Forgets all; the file stays.
  void detach();

  bool isActive() const { return active_; }
  const std::string &startTime() const { return startTime_; }
  const std::string &fullTime() const { return fullTime_; }
  /// Messages that came to the spool since it began, whatever became of them.
  uint32_t total() const { return total_; }
  size_t count() const { return messages_.size(); }

  /// Spooling begins.
  void begin(std::string startTime);
  /// Notes that a message came for which there was no room.
  void noteFull(std::string fullTime);
  void noteDropped() { ++total_; }
  /// How many of the oldest messages have to go before one more fits: with it there are no more
  /// than `messages`, which take no more than `bytes`. More than there are when it never fits.
  size_t surplus(size_t messageSize, size_t messages, uint64_t bytes) const;
  /// What is written survives the end of the process, or a loss of power too.
  enum class Safe { FromExit, FromPowerLoss };
  /// Adds an encoded message, header and body, in place of the `dropped` oldest ones. False, and
  /// all is as before, when it can't be brought to the disk.
  bool add(ByteView message, size_t dropped, Safe safe);

  /// The numbers of the oldest and the newest message, by which they are told from others.
  uint32_t firstNumber() const { return messages_.front().number; }
  uint32_t lastNumber() const { return messages_.back().number; }
  CHSecsMessage firstMessage() const;
  void removeFirst();
  /// Takes one out of the middle; whether it was there.
  bool remove(uint32_t number);
  /// Flushes what was noted of messages that have gone, and what is safe from the exit alone.
  void flush() { host_->files().flush(path_); }
  /// Spooling ends, and the file with all that is left in it. False when it can't be removed.
  bool end();

private:
  struct Message {
    uint32_t number;
    std::string record;
  };

  bool read(std::string_view bytes);
  bool take(std::string_view record);
  void dropUpTo(uint32_t number);
  void removeOldest();
  bool erase(uint32_t number);
  std::string beganRecord(uint32_t total) const;
  bool write(std::string_view records, Safe safe);
  bool rewrite();
  void compact();

  GemCapabilityOwner *host_;
  bool attached_ = false;
  std::string dataFile_; // the data file that it belongs to
  std::string path_;
  bool active_ = false;
  std::string startTime_;
  std::string fullTime_;
  uint32_t total_ = 0;
  uint32_t next_ = 1; // the number of the next message
  std::deque<Message> messages_;
  uint64_t live_ = 0;     // bytes of the records of messages_
  uint64_t size_ = 0;     // of the file
  uint64_t patience_ = 0; // the size up to which it is not tried again to make it shorter
  bool torn_ = false;     // the file ends with what is no record, or is not there
  bool damaged_ = false;  // the file is to be kept before it is written anew
};

} // namespace velto

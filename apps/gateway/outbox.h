#pragma once

#include "apps/gateway/payload.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velto::gateway {

/// Publications on the disk until they are delivered, and the sequence numbers of the tools. What
/// happens between begin() and commit() is there as a whole, or not at all.
class Outbox {
public:
  struct Entry {
    uint64_t id = 0;
    Publication publication;
  };
  /// What waits.
  struct Content {
    uint64_t count = 0;
    uint64_t bytes = 0;
    uint64_t lastId = 0;  ///< of all that there ever were
    uint64_t dropped = 0; ///< that were given up, ever
  };

  virtual ~Outbox() = default;
  /// Opens the file, or makes it; what is wrong, or nothing.
  virtual std::string open(const std::string &path) = 0;

  // False when the disk does not take it; the transaction is then gone. error() says why.
  virtual bool begin() = 0;
  virtual bool add(const Entry &entry, int64_t seconds) = 0;
  virtual bool remove(uint64_t id) = 0;
  virtual bool setSequence(const std::string &tool, uint64_t sequence) = 0;
  virtual bool setDropped(uint64_t count) = 0;
  virtual bool commit() = 0;
  virtual std::string error() const = 0;

  virtual Content content() = 0;
  virtual uint64_t sequence(const std::string &tool) = 0;
  /// The next ones behind an ID, in their order: about so many bytes of them, and one at least.
  virtual std::vector<Entry> read(uint64_t behind, uint64_t bytes) = 0;
  /// The oldest one: its ID, bytes, and the seconds that it came at. Nothing when there is none.
  struct Age {
    uint64_t id;
    uint64_t bytes;
    int64_t seconds;
  };
  virtual std::optional<Age> oldest() = 0;
};

/// Null where the program was built without SQLite.
std::unique_ptr<Outbox> makeOutbox();

/// What a publication counts for in the outbox.
inline uint64_t bytesOf(const Publication &publication) {
  return publication.topic.size() + publication.payload.size();
}

} // namespace velto::gateway

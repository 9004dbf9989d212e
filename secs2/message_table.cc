#include "secs2/message_table.h"

#include <algorithm>
#include <vector>

namespace velto {

namespace {

// The rows of all streams in one sequence.
class Table {
public:
  Table() {
    for (const auto &stream :
         {messages::kStream1, messages::kStream2, messages::kStream3, messages::kStream4,
          messages::kStream5, messages::kStream6, messages::kStream7, messages::kStream8,
          messages::kStream9, messages::kStream10, messages::kStream12, messages::kStream13,
          messages::kStream14, messages::kStream15, messages::kStream16, messages::kStream17,
          messages::kStream18})
      rows_.insert(rows_.end(), stream.begin(), stream.end());
  }
  std::span<const MessageRow> rows() const { return rows_; }

private:
  std::vector<MessageRow> rows_;
};

int key(const MessageRow &row) { return row.stream * 256 + row.function; }

} // namespace

std::span<const MessageRow> messageTable() {
  static const Table table;
  return table.rows();
}

const MessageRow *findMessage(uint8_t stream, uint8_t function) {
  const auto rows = messageTable();
  const auto row = std::ranges::lower_bound(rows, stream * 256 + function, {}, key);
  return row != rows.end() && row->stream == stream && row->function == function ? &*row : nullptr;
}

bool isKnownStream(uint8_t stream) { return stream >= 1 && stream <= 18 && stream != 11; }

} // namespace velto

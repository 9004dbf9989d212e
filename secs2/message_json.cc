#include "secs2/message_json.h"

#include "base/json_text.h"
#include "base/text.h"
#include "secs2/header.h"
#include "secs2/item.h"
#include "secs2/item_codec.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <type_traits>

namespace velto {

namespace {

constexpr size_t kEncodingSize = 2;
// Integers beyond these are texts: a reader that holds numbers as doubles would round them.
constexpr int64_t kExactInteger = int64_t{1} << 53;

template <typename T> void appendShortest(std::string &out, T value) {
  std::array<char, 40> text{};
  const char *end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
  out.append(text.data(), static_cast<size_t>(end - text.data()));
}

template <typename T> void appendInteger(std::string &out, T value) {
  bool exact = value <= static_cast<std::common_type_t<T, int64_t>>(kExactInteger);
  if constexpr (std::is_signed_v<T>)
    exact = exact && value >= -kExactInteger;
  out += exact ? "" : "\"";
  appendShortest(out, value);
  out += exact ? "" : "\"";
}

// A number that becomes this value again when it is read as a double. What is none in JSON is a
// text: of a NaN, of which there are many, its bits.
template <typename T, typename Bits> void appendReal(std::string &out, Bits bits) {
  const T value = std::bit_cast<T>(bits);
  if (std::isnan(value)) {
    std::array<uint8_t, sizeof bits> bytes{};
    writeBigEndian(bytes.data(), bits);
    out += "\"nan:" + toHex(bytes) + '"';
    return;
  }
  if (std::isinf(value)) {
    out += value > 0 ? "\"inf\"" : "\"-inf\"";
    return;
  }
  const size_t start = out.size();
  appendShortest(out, value);
  if (static_cast<T>(parseReal(std::string_view(out).substr(start))) != value) {
    out.resize(start);
    appendShortest(out, double{value});
  }
  if (out.find_first_of(".e", start) == std::string::npos)
    out += ".0"; // or -0 would be read as the integer 0
}

/// Writes the items of an encoded body one after the other.
class BodyWriter {
public:
  explicit BodyWriter(const BodyJsonOptions &options) : options_(options) {}

  void write(ByteView body) {
    const size_t size = item(body, 1);
    faithful_ = faithful_ && size == body.size();
  }
  std::string &text() { return out_; }
  /// Whether the body is just what its items say.
  bool faithful() const { return faithful_; }
  bool tooLong() const { return out_.size() > options_.most; }

private:
  struct Head {
    uint8_t code = 0;
    size_t size = 0;
    size_t length = 0;
  };

  // Of a head that is cut short, what is there.
  Head readItemHead(ByteView bytes) {
    Head head{static_cast<uint8_t>(bytes[0] >> 2), 1 + (bytes[0] & size_t{3}), 0};
    if (head.size > bytes.size()) {
      faithful_ = false;
      head.size = bytes.size();
    }
    for (size_t i = 1; i < head.size; ++i)
      head.length = (head.length << 8) | bytes[i];
    faithful_ = faithful_ && head.size == 1 + LengthBytes(head.length);
    return head;
  }

  // Returns the count of bytes consumed.
  size_t item(ByteView bytes, size_t depth) {
    const Head head = readItemHead(bytes);
    const FormatInfo &format = formatInfo(head.code);
    const ByteView rest = bytes.subspan(head.size);
    out_ += "{\"format\":\"";
    out_ += format.upperTag + 1; // without its bracket
    out_ += '"';
    size_t consumed = 0;
    if (format.kind == ElementKind::List) {
      consumed = children(rest, head.length, depth);
    } else {
      consumed = std::min(head.length, rest.size());
      faithful_ = faithful_ && consumed == head.length && format.kind != ElementKind::Unknown;
      elements(head.code, rest.first(consumed));
    }
    out_ += '}';
    return head.size + consumed;
  }

  size_t children(ByteView rest, size_t count, size_t depth) {
    out_ += ",\"value\":[";
    size_t consumed = 0;
    if (depth > CHSecsItem::kMaxDepth) {
      faithful_ = faithful_ && count == 0;
      consumed = EncodedLength(rest, count);
      count = 0;
    }
    for (size_t i = 0; i < count && !tooLong(); ++i) {
      if (consumed == rest.size()) {
        faithful_ = false;
        break;
      }
      out_ += i == 0 ? "" : ",";
      consumed += item(rest.subspan(consumed), depth + 1);
    }
    out_ += ']';
    return consumed;
  }

  void elements(uint8_t code, ByteView data) {
    if (code == format::kMbcs)
      return encoded(data);
    if (formatInfo(code).kind == ElementKind::Text)
      return text(data);
    faithful_ = faithful_ && data.size() % elementSize(code) == 0;
    out_ += ",\"value\":[";
    switch (code) {
    case format::kBoolean:
      array<uint8_t>(data, [this](uint8_t byte) {
        if (byte > 1)
          appendInteger(out_, unsigned{byte});
        else
          out_ += byte == 1 ? "true" : "false";
      });
      break;
    case format::kI1:
      integers<int8_t>(data);
      break;
    case format::kI2:
      integers<int16_t>(data);
      break;
    case format::kI4:
      integers<int32_t>(data);
      break;
    case format::kI8:
      integers<int64_t>(data);
      break;
    case format::kU2:
      integers<uint16_t>(data);
      break;
    case format::kU4:
      integers<uint32_t>(data);
      break;
    case format::kU8:
      integers<uint64_t>(data);
      break;
    case format::kF4:
      array<uint32_t>(data, [this](uint32_t bits) { appendReal<float>(out_, bits); });
      break;
    case format::kF8:
      array<uint64_t>(data, [this](uint64_t bits) { appendReal<double>(out_, bits); });
      break;
    default: // binary, U1, and the bytes of an unknown format
      integers<uint8_t>(data);
    }
    out_ += ']';
  }

  template <typename Bits, typename Append> void array(ByteView data, Append append) {
    for (size_t i = 0; i + sizeof(Bits) <= data.size() && !tooLong(); i += sizeof(Bits)) {
      out_ += i == 0 ? "" : ",";
      append(readBigEndian<Bits>(&data[i]));
    }
  }
  template <typename T> void integers(ByteView data) {
    using Bits = std::make_unsigned_t<T>;
    array<Bits>(data, [this](Bits bits) {
      if constexpr (sizeof(T) < 4)
        appendInteger(out_, int32_t{std::bit_cast<T>(bits)});
      else
        appendInteger(out_, std::bit_cast<T>(bits));
    });
  }

  void encoded(ByteView data) {
    faithful_ = faithful_ && data.size() >= kEncodingSize;
    if (data.size() < kEncodingSize)
      return text({});
    if (options_.encodings)
      out_ += ",\"encoding\":" + std::to_string(readBigEndian<uint16_t>(data.data()));
    text(data.subspan(kEncodingSize));
  }
  void text(ByteView data) {
    const size_t size = std::min(data.size(), options_.most);
    out_ += ",\"value\":";
    out_ += jsonText({reinterpret_cast<const char *>(data.data()), size});
  }

  const BodyJsonOptions &options_;
  std::string out_;
  bool faithful_ = true;
};

} // namespace

std::string bodyJsonMembers(ByteView body, const BodyJsonOptions &options) {
  if (body.empty())
    return "";
  BodyWriter writer(options);
  writer.write(body);
  if (writer.tooLong())
    return ",\"body_bytes\":" + std::to_string(body.size());
  std::string members = ",\"body\":" + std::move(writer.text());
  if (!writer.faithful())
    members += ",\"raw\":\"" + toHex(body) + '"';
  return members;
}

std::string messageJsonMembers(ByteView message, const BodyJsonOptions &options) {
  const CHSecsHeader header = *readHeader(message);
  std::string members = "\"message\":" + jsonText(HeaderText(header, HeaderTextMode::Name));
  members += ",\"stream\":" + std::to_string(header.stream());
  members += ",\"function\":" + std::to_string(header.function());
  members += header.wbit() ? ",\"wbit\":true" : ",\"wbit\":false";
  members += ",\"session\":" + std::to_string(header.idWord);
  members += ",\"system_bytes\":" + std::to_string(header.systemBytes);
  if (header.pType() != 0)
    members += ",\"ptype\":" + std::to_string(header.pType());
  if (header.sType() != 0)
    members += ",\"stype\":" + std::to_string(header.sType());
  return members + bodyJsonMembers(message.subspan(CHSecsHeader::kSize), options);
}

} // namespace velto

#include "secs2/sml_printer.h"

#include "base/text.h"
#include "secs2/item_codec.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>

namespace velto {

namespace {

constexpr size_t kAnnotationColumn = 19;
constexpr size_t kCharacterSetSize = 2;

// Blanks of indentation for each byte of a body, and for any body: those of lists nested sixteen
// deep, whatever they hold, and more in a small body. Small items further down could otherwise fill
// hundreds of times the memory of their message.
constexpr size_t kBlanksPerByte = 32;
constexpr size_t kSpareBlanks = 65'536;

// Bytes of numbers that are printed before it is looked whether there is room for more.
constexpr size_t kStep = 4096;

enum class Lookup : uint8_t { None, Variable, Event };

// The items that are annotated. Without a path: every item but the root.
struct Annotation {
  uint8_t stream;
  uint8_t function;
  const char *path;
  const char *name;
  Lookup lookup; ///< where the item's value may have a name of its own
};

constexpr std::array kAnnotations{
    Annotation{1, 3, nullptr, "SVID", Lookup::Variable},
    Annotation{1, 13, "1", "MDLN", Lookup::None},
    Annotation{1, 13, "2", "SOFTREV", Lookup::None},
    Annotation{5, 1, "1", "ALCD", Lookup::None},
    Annotation{5, 1, "2", "ALID", Lookup::None},
    Annotation{5, 1, "3", "ALTX", Lookup::None},
    Annotation{6, 11, "2", "CEID", Lookup::Event},
};

bool isAnnotated(const SmlItemPlace &place) {
  return std::ranges::any_of(kAnnotations, [&place](const Annotation &row) {
    return row.stream == place.stream && row.function == place.function;
  });
}

const Annotation *findAnnotation(const SmlItemPlace &place) {
  const auto *row = std::ranges::find_if(kAnnotations, [&place](const Annotation &candidate) {
    return candidate.stream == place.stream && candidate.function == place.function &&
           (candidate.path == nullptr ? !place.path.empty() : place.path == candidate.path);
  });
  return row == kAnnotations.end() ? nullptr : row;
}

// `value` is the text of the item's elements; a list, a text, and an item without any, has no name.
std::string annotationName(const Annotation &row, std::string_view value,
                           const SmlContext *context) {
  std::optional<std::string> name;
  const auto number = parseDecimal(value);
  if (value.empty() || value.front() != ' ' || !number)
    return row.name;
  if (context != nullptr && row.lookup == Lookup::Variable)
    name = context->variableName(static_cast<int32_t>(*number));
  if (context != nullptr && row.lookup == Lookup::Event)
    name = context->eventName(static_cast<int32_t>(*number));
  if (!name)
    return row.name;
  // The name ends with its line, or it would be read back as items.
  std::ranges::replace_if(
      *name, [](char c) { return c == '\r' || c == '\n'; }, ' ');
  return *name;
}

void appendByte(std::string &out, uint8_t byte) {
  static constexpr char kDigits[] = "0123456789abcdef";
  const char text[] = {' ', '0', 'x', kDigits[byte >> 4], kDigits[byte & 15]};
  out.append(text, sizeof text);
}

bool isPrintable(uint8_t byte) { return byte >= 0x20 && byte != '\''; }

void appendQuoted(std::string &out, ByteView text) {
  auto next = text.begin();
  while (next != text.end()) {
    const auto runEnd = std::find_if_not(next, text.end(), isPrintable);
    if (runEnd != next) {
      out += " '";
      out.append(reinterpret_cast<const char *>(&*next), static_cast<size_t>(runEnd - next));
      out += '\'';
    }
    next = runEnd;
    for (; next != text.end() && !isPrintable(*next); ++next)
      appendByte(out, *next);
  }
}

template <typename T> void appendIntegers(std::string &out, ByteView data) {
  std::array<char, 24> text{' '};
  for (size_t i = 0; i + sizeof(T) <= data.size(); i += sizeof(T)) {
    const auto value = std::bit_cast<T>(readBigEndian<std::make_unsigned_t<T>>(&data[i]));
    const char *end = std::to_chars(text.data() + 1, text.data() + text.size(), value).ptr;
    out.append(text.data(), static_cast<size_t>(end - text.data()));
  }
}

template <typename T, typename Bits> void appendReals(std::string &out, ByteView data) {
  for (size_t i = 0; i + sizeof(T) <= data.size(); i += sizeof(T)) {
    out += ' ';
    appendFixed(out, static_cast<double>(std::bit_cast<T>(readBigEndian<Bits>(&data[i]))));
  }
}

void appendElements(std::string &out, uint8_t code, ByteView data) {
  switch (code) {
  case format::kBinary:
    for (const uint8_t byte : data)
      appendByte(out, byte);
    return;
  case format::kBoolean:
    for (const uint8_t byte : data)
      out += byte != 0 ? " true" : " false";
    return;
  case format::kAscii:
  case format::kJis:
    return appendQuoted(out, data);
  case format::kMbcs:
    return appendQuoted(out, data.subspan(std::min(data.size(), kCharacterSetSize)));
  case format::kI1:
    return appendIntegers<int8_t>(out, data);
  case format::kI2:
    return appendIntegers<int16_t>(out, data);
  case format::kI4:
    return appendIntegers<int32_t>(out, data);
  case format::kI8:
    return appendIntegers<int64_t>(out, data);
  case format::kU1:
    return appendIntegers<uint8_t>(out, data);
  case format::kU2:
    return appendIntegers<uint16_t>(out, data);
  case format::kU4:
    return appendIntegers<uint32_t>(out, data);
  case format::kU8:
    return appendIntegers<uint64_t>(out, data);
  case format::kF4:
    return appendReals<float, uint32_t>(out, data);
  case format::kF8:
    return appendReals<double, uint64_t>(out, data);
  default:
    break;
  }
}

class Renderer {
public:
  /// Stops soon after `out` has grown beyond `most`.
  Renderer(std::string &out, SmlItemPlace &place, const SmlContext *context, size_t bodySize,
           size_t most = std::string::npos)
      : out_(out), place_(place), context_(context), annotated_(isAnnotated(place)),
        blanksLeft_(kBlanksPerByte * bodySize + kSpareBlanks), most_(most) {}

  size_t item(ByteView bytes, size_t depth) {
    if (bytes.empty() || isFull())
      return bytes.size();
    const auto code = static_cast<uint8_t>(bytes[0] >> 2);
    const size_t sizeOfLength = bytes[0] & 3;
    if (bytes.size() <= sizeOfLength)
      return bytes.size();
    size_t length = 0;
    for (size_t i = 1; i <= sizeOfLength; ++i)
      length = (length << 8) | bytes[i];
    const ByteView rest = bytes.subspan(1 + sizeOfLength);
    length = std::min(length, rest.size());

    const size_t start = out_.size();
    indent(depth);
    out_ += TypeName(code, TypeNameMode::LowerTag);
    const size_t values = out_.size();
    if (code == format::kList) {
      length = list(rest, length, depth);
    } else {
      elements(code, rest.first(length));
      out_ += '>';
    }
    if (annotated_ && !isFull())
      annotate(start, values);
    out_ += "\r\n";
    return 1 + sizeOfLength + length;
  }

private:
  bool isFull() const { return out_.size() > most_; }

  // A text is printed in runs of characters, of which each byte takes one or more.
  void elements(uint8_t code, ByteView data) {
    if (most_ == std::string::npos)
      return appendElements(out_, code, data);
    if (formatInfo(code).kind == ElementKind::Text)
      return appendElements(out_, code, data.first(std::min(data.size(), most_ + 1)));
    while (!data.empty() && !isFull()) {
      const size_t size = std::min(data.size(), kStep);
      appendElements(out_, code, data.first(size));
      data = data.subspan(size);
    }
  }

  size_t list(ByteView rest, size_t count, size_t depth) {
    out_ += "\r\n";
    size_t consumed = 0;
    if (depth >= CHSecsItem::kMaxDepth) {
      consumed = EncodedLength(rest, count);
      count = 0;
    }
    const size_t pathLength = place_.path.size();
    for (size_t n = 1; n <= count && consumed < rest.size(); ++n) {
      if (annotated_) {
        if (pathLength != 0)
          place_.path += '/';
        appendDecimal(place_.path, static_cast<uint64_t>(n));
      }
      consumed += item(rest.subspan(consumed), depth + 1);
      place_.path.resize(pathLength);
    }
    if (!isFull()) {
      indent(depth);
      out_ += '}';
    }
    return consumed;
  }

  void indent(size_t depth) {
    const size_t blanks = std::min(2 * depth, blanksLeft_);
    blanksLeft_ -= blanks;
    out_.append(blanks, ' ');
  }

  void annotate(size_t start, size_t values) {
    const Annotation *row = findAnnotation(place_);
    if (row == nullptr)
      return;
    const std::string name = annotationName(*row, std::string_view(out_).substr(values), context_);
    const size_t lineFeed = out_.rfind('\n');
    const size_t lineStart = lineFeed == std::string::npos ? start : std::max(start, lineFeed + 1);
    const size_t width = out_.size() - lineStart;
    if (width < kAnnotationColumn)
      out_.append(kAnnotationColumn - width, ' ');
    out_ += " * ";
    out_ += name;
  }

  std::string &out_;
  SmlItemPlace &place_;
  const SmlContext *context_;
  bool annotated_;
  size_t blanksLeft_;
  size_t most_;
};

// Bytes of a body whose text is longer than `most`: a text has the most bytes to a character in "0
// ", which may be eight.
size_t bytesWithin(size_t most) { return most < SIZE_MAX / 8 ? 8 * most : SIZE_MAX; }

} // namespace

size_t RenderItems(std::string &out, ByteView bytes, SmlItemPlace &place, const SmlContext *context,
                   size_t depth) {
  return Renderer(out, place, context, bytes.size()).item(bytes, depth);
}

std::string RenderSml(const CHSecsMessage &message, const SmlContext *context, size_t most) {
  const auto bodySize = EncodedItemSize(message.root);
  if (!bodySize || *bodySize > CHSecsMessage::kMaxEncodedSize - CHSecsHeader::kSize)
    return "";
  Bytes bytes(*bodySize);
  const size_t encoded = EncodeItem(message.root, bytes.data(), bytesWithin(most));
  std::string out = HeaderText(message.header, HeaderTextMode::Name);
  out += "\r\n";
  SmlItemPlace place{message.header.stream(), message.header.function(), ""};
  Renderer(out, place, context, bytes.size(), most).item(ByteView(bytes).first(encoded), 0);
  if (out.size() <= most)
    return out;
  const std::string remark = "\r\n* cut short, the message has " +
                             std::to_string(CHSecsHeader::kSize + bytes.size()) + " bytes\r\n";
  out.resize(most - std::min(most, remark.size()));
  out += remark;
  out.resize(std::min(out.size(), most));
  return out;
}

} // namespace velto

#include "apps/velto/sml/json_messages.h"

#ifndef VELTO_JSON

namespace velto {

const char *const kJsonMissing =
    "this program was built without nlohmann-json3-dev, which reads JSON";

std::optional<std::vector<JsonObject>> splitJson(std::string_view, JsonProblem &) {
  return std::nullopt;
}
std::optional<Bytes> messageFromJson(const JsonObject &, JsonProblem &) { return std::nullopt; }

} // namespace velto

#else

#include "secs2/item_codec.h"
#include "secs2/message.h"

#include "base/text.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <span>
#include <tuple>
#include <utility>

namespace velto {

const char *const kJsonMissing = nullptr;

namespace {

using JsonTree = nlohmann::json;

constexpr size_t kMostLength = 0xFFFFFF;
constexpr size_t kFormats = 64;
constexpr uint16_t kEncodingWithout = 8; // what items are encoded with that keep no code
// A list takes an object and an array; around them stands the message. What is written of a list
// that is too deep is its object, without what is in it.
constexpr size_t kMostNesting = 1 + 2 * (CHSecsItem::kMaxDepth + 1);

std::optional<uint8_t> formatNamed(std::string_view name) {
  for (uint8_t code = 0; code < kFormats; ++code)
    if (formatInfo(code).kind != ElementKind::Unknown && name == formatInfo(code).upperTag + 1)
      return code;
  return std::nullopt;
}

template <typename T> void append(Bytes &out, T value) {
  out.resize(out.size() + sizeof value);
  writeBigEndian(&out[out.size() - sizeof value], value);
}

// A number of that type: a JSON number without a fraction, or its decimal text.
template <typename T> std::optional<T> integerOf(const JsonTree &value) {
  if (value.is_number_unsigned() && std::in_range<T>(value.get<uint64_t>()))
    return static_cast<T>(value.get<uint64_t>());
  if (value.is_number_integer() && !value.is_number_unsigned() &&
      std::in_range<T>(value.get<int64_t>()))
    return static_cast<T>(value.get<int64_t>());
  if (!value.is_string())
    return std::nullopt;
  const auto &text = value.get_ref<const std::string &>();
  T number{};
  const char *end = text.data() + text.size();
  const auto [last, error] = std::from_chars(text.data(), end, number);
  return error == std::errc{} && last == end ? std::optional(number) : std::nullopt;
}

// The bits of a floating-point number.
template <typename T, typename Bits> std::optional<Bits> realOf(const JsonTree &value) {
  if (value.is_number()) {
    const T number = static_cast<T>(value.get<double>());
    return std::isfinite(number) ? std::optional(std::bit_cast<Bits>(number)) : std::nullopt;
  }
  if (!value.is_string())
    return std::nullopt;
  std::string_view text = value.get_ref<const std::string &>();
  using Limits = std::numeric_limits<T>;
  if (text == "inf" || text == "-inf")
    return std::bit_cast<Bits>(text[0] == '-' ? -Limits::infinity() : Limits::infinity());
  if (text == "nan")
    return std::bit_cast<Bits>(Limits::quiet_NaN());
  if (!text.starts_with("nan:") || text.size() != 4 + 2 * sizeof(Bits))
    return std::nullopt;
  text.remove_prefix(4);
  Bits bits{};
  const char *end = text.data() + text.size();
  const auto [last, error] = std::from_chars(text.data(), end, bits, 16);
  return last == end && std::isnan(std::bit_cast<T>(bits)) ? std::optional(bits) : std::nullopt;
}

std::optional<uint8_t> booleanOf(const JsonTree &value) {
  return value.is_boolean() ? std::optional<uint8_t>(value.get<bool>()) : integerOf<uint8_t>(value);
}

/// Encodes the message that a JSON object states.
class MessageReader {
public:
  bool message(const JsonTree &object) {
    if (!header(object))
      return false;
    if (const auto raw = object.find("raw"); raw != object.end())
      return rawBody(*raw);
    if (object.contains("body_bytes"))
      return fail("its body was left out, as it is too long");
    const auto body = object.find("body");
    return body == object.end() || item(*body, 1);
  }
  Bytes &bytes() { return out_; }
  const std::string &problem() const { return problem_; }

private:
  bool fail(const std::string &problem) {
    problem_ = problem;
    return false;
  }
  bool failItem(const std::string &problem) {
    std::string path;
    for (const size_t number : path_)
      path += (path.empty() ? "" : "/") + std::to_string(number);
    return fail((path.empty() ? "the body: " : "item " + path + ": ") + problem);
  }

  template <typename T>
  bool field(const JsonTree &object, const char *name, uint32_t most, T &number) {
    const auto found = object.find(name);
    if (found == object.end())
      return true;
    const auto value = integerOf<uint32_t>(*found);
    if (!value || *value > most)
      return fail(std::string("\"") + name + "\" is no number from 0 to " + std::to_string(most));
    number = static_cast<T>(*value);
    return true;
  }

  // Numbers, or else the name of the message.
  bool header(const JsonTree &object) {
    CHSecsMessage named;
    named.Reset(0);
    named.header.idWord = 0xFFFF;
    const auto name = object.find("message");
    if (!object.contains("stream")) {
      if (name == object.end() || !name->is_string())
        return fail("no message: it has neither \"stream\" nor \"message\"");
      if (!named.SetFromSml(name->get_ref<const std::string &>()) || named.root.hasData())
        return fail("\"message\" is no name of a message");
    }
    CHSecsHeader &header = named.header;
    uint8_t stream = header.stream();
    uint8_t pType = header.pType();
    uint8_t sType = header.sType();
    if (!field(object, "stream", 127, stream) ||
        !field(object, "function", 255, header.functionByte) ||
        !field(object, "session", 0xFFFF, header.idWord) ||
        !field(object, "system_bytes", 0xFFFFFFFF, header.systemBytes) ||
        !field(object, "ptype", 255, pType) || !field(object, "stype", 255, sType))
      return false;
    header.setStream(stream);
    header.blockWord = static_cast<uint16_t>((pType << 8) | sType);
    if (const auto wbit = object.find("wbit"); wbit != object.end()) {
      if (!wbit->is_boolean())
        return fail("\"wbit\" is neither true nor false");
      header.setWbit(wbit->get<bool>());
    }
    out_.resize(CHSecsHeader::kSize);
    EncodeHeader(header, std::span<uint8_t, CHSecsHeader::kSize>(out_));
    return true;
  }

  bool rawBody(const JsonTree &raw) {
    const std::string digits = raw.is_string() ? raw.get<std::string>() : "?";
    if (digits.size() % 2 != 0 ||
        digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
      return fail("\"raw\" is not hexadecimal");
    const Bytes body = fromHex(digits);
    out_.insert(out_.end(), body.begin(), body.end());
    return true;
  }

  bool item(const JsonTree &object, size_t depth) {
    if (!object.is_object() || !object.contains("format") || !object.contains("value"))
      return failItem("an item is an object with \"format\" and \"value\"");
    const JsonTree &name = object["format"];
    const auto code =
        name.is_string() ? formatNamed(name.get_ref<const std::string &>()) : std::nullopt;
    if (!code)
      return failItem("there is no format " + name.dump(-1, ' ', true));
    const JsonTree &value = object["value"];
    switch (formatInfo(*code).kind) {
    case ElementKind::List:
      return list(value, depth);
    case ElementKind::Text:
      return text(object, *code, value);
    default:
      return array(*code, value);
    }
  }

  bool list(const JsonTree &value, size_t depth) {
    if (!value.is_array())
      return failItem("the value of a list is an array of items");
    if (depth > CHSecsItem::kMaxDepth)
      return fail("lists nest too deeply");
    if (!head(format::kList, value.size()))
      return false;
    for (size_t i = 0; i < value.size(); ++i) {
      path_.push_back(i + 1);
      if (!item(value[i], depth + 1))
        return false;
      path_.pop_back();
    }
    return true;
  }

  // JSON has characters, an item bytes: each is the character of its number.
  bool text(const JsonTree &object, uint8_t code, const JsonTree &value) {
    if (!value.is_string())
      return failItem("the value of a text is a string");
    Bytes bytes;
    if (code == format::kMbcs) {
      uint16_t encoding = kEncodingWithout;
      if (!field(object, "encoding", 0xFFFF, encoding))
        return failItem(problem_);
      append(bytes, encoding);
    }
    const auto &utf8 = value.get_ref<const std::string &>(); // the parser has checked it
    for (size_t i = 0; i < utf8.size(); ++i) {
      auto byte = static_cast<uint8_t>(utf8[i]);
      if (byte >= 0xC4)
        return failItem("a character above \\u00ff, which no byte stands for");
      if (byte >= 0xC2)
        byte = static_cast<uint8_t>((byte << 6) | (static_cast<uint8_t>(utf8[++i]) & 0x3F));
      bytes.push_back(byte);
    }
    return elements(code, bytes);
  }

  // One value may stand without the array.
  bool array(uint8_t code, const JsonTree &value) {
    Bytes bytes;
    const auto values = value.is_array() ? std::span(value.get_ref<const JsonTree::array_t &>())
                                         : std::span(&value, 1);
    for (const JsonTree &element : values)
      if (!appendElement(bytes, code, element))
        return failItem(
            element.dump(-1, ' ', true, JsonTree::error_handler_t::replace).substr(0, 60) +
            " is no value of format " + (formatInfo(code).upperTag + 1));
    return elements(code, bytes);
  }

  template <typename T> static bool appended(Bytes &bytes, const std::optional<T> &value) {
    if (value)
      append(bytes, *value);
    return value.has_value();
  }
  static bool appendElement(Bytes &bytes, uint8_t code, const JsonTree &value) {
    switch (code) {
    case format::kBoolean:
      return appended(bytes, booleanOf(value));
    case format::kI1:
      return appended(bytes, integerOf<int8_t>(value));
    case format::kI2:
      return appended(bytes, integerOf<int16_t>(value));
    case format::kI4:
      return appended(bytes, integerOf<int32_t>(value));
    case format::kI8:
      return appended(bytes, integerOf<int64_t>(value));
    case format::kU2:
      return appended(bytes, integerOf<uint16_t>(value));
    case format::kU4:
      return appended(bytes, integerOf<uint32_t>(value));
    case format::kU8:
      return appended(bytes, integerOf<uint64_t>(value));
    case format::kF4:
      return appended(bytes, realOf<float, uint32_t>(value));
    case format::kF8:
      return appended(bytes, realOf<double, uint64_t>(value));
    default: // binary and U1
      return appended(bytes, integerOf<uint8_t>(value));
    }
  }

  bool elements(uint8_t code, const Bytes &bytes) {
    if (!head(code, bytes.size()))
      return false;
    out_.insert(out_.end(), bytes.begin(), bytes.end());
    return true;
  }

  bool head(uint8_t code, size_t length) {
    if (length > kMostLength)
      return failItem("longer than an item can be");
    const size_t count = LengthBytes(length);
    out_.push_back(static_cast<uint8_t>((code << 2) | static_cast<int>(count)));
    for (size_t i = count; i-- > 0;)
      out_.push_back(static_cast<uint8_t>(length >> (8 * i)));
    return true;
  }

  Bytes out_;
  std::vector<size_t> path_;
  std::string problem_;
};

int linesOf(std::string_view text) {
  return static_cast<int>(std::count(text.begin(), text.end(), '\n'));
}

// What the parser says of a text, without the names of its own errors.
JsonProblem syntaxProblem(const JsonObject &object, const JsonTree::parse_error &error) {
  const std::string_view what = error.what();
  const size_t reason = what.find("syntax error");
  const size_t before = std::min(error.byte == 0 ? 0 : error.byte - 1, object.text.size());
  return {object.line + linesOf(object.text.substr(0, before)),
          std::string(what.substr(reason == std::string_view::npos ? 0 : reason))};
}

} // namespace

std::optional<std::vector<JsonObject>> splitJson(std::string_view text, JsonProblem &problem) {
  std::vector<JsonObject> objects;
  size_t depth = 0;
  size_t start = 0;
  int line = 1;
  int startLine = 1;
  bool quoted = false;
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    line += c == '\n';
    if (quoted) {
      i += c == '\\';
      quoted = c != '"';
      continue;
    }
    if (depth == 0 && c != '{') {
      if (c == ' ' || c == '\t' || c == '\r' || c == '\n')
        continue;
      problem = {line, "a JSON object is expected"};
      return std::nullopt;
    }
    if (c == '{' || c == '[') {
      if (depth++ == 0)
        std::tie(start, startLine) = std::pair(i, line);
    } else if (c == '}' || c == ']') {
      if (--depth == 0)
        objects.push_back({text.substr(start, i + 1 - start), startLine});
    }
    quoted = c == '"';
    if (depth > kMostNesting) {
      problem = {line, "lists nest too deeply"};
      return std::nullopt;
    }
  }
  if (depth == 0)
    return objects;
  problem = {startLine, "the object that begins here does not end"};
  return std::nullopt;
}

std::optional<Bytes> messageFromJson(const JsonObject &object, JsonProblem &problem) {
  JsonTree json;
  try {
    json = JsonTree::parse(object.text);
  } catch (const JsonTree::parse_error &error) {
    problem = syntaxProblem(object, error);
    return std::nullopt;
  } catch (const JsonTree::exception &) { // a number beyond the range of double
    problem = {object.line, "a number is out of range"};
    return std::nullopt;
  }
  MessageReader reader;
  if (reader.message(json))
    return std::move(reader.bytes());
  problem = {object.line, reader.problem()};
  return std::nullopt;
}

} // namespace velto

#endif

#pragma once

#include <cstdint>
#include <string_view>

namespace velto {

/// A token of SML text.
struct SmlToken {
  enum class Kind : uint8_t {
    Header,  ///< `header`
    Integer, ///< `integer`
    Real,    ///< `real`
    String,  ///< `text` without the quotes
    Control, ///< a control message's name, `integer` its SType
    List,    ///< opens a list
    Item,    ///< opens a data item, `integer` its format code
    Close,
    Period,
    Label,
    Other, ///< a character that no rule takes
    End,
  };

  Kind kind = Kind::End;
  std::string_view text; ///< as it stands in the source (String: what is between the quotes)
  int64_t integer = 0;
  double real = 0;
  uint32_t header = 0; ///< bit 31 the W-bit, bits 16 to 30 the stream, bits 0 to 15 the function
};

/// Cuts SML text into tokens. Blanks, line ends, comments ("//", "*" and "/* */") and element
/// counts in brackets are skipped. The period that ends a message comes by itself at the end of
/// the text.
class CHSmlLex {
public:
  /// Tells whether a byte is the first of a two-byte character of the code page.
  using LeadByteTest = bool (*)(uint8_t byte);

  explicit CHSmlLex(std::string_view text, LeadByteTest isLeadByte = nullptr)
      : next_(text.data()), end_(text.data() + text.size()), start_(text.data()),
        isLeadByte_(isLeadByte) {}

  SmlToken next();
  /// The line that the last token ends in, from 1.
  int line() const { return line_; }

private:
  void skipBlanks();
  bool skipComment();
  void skipLine();
  SmlToken take(SmlToken::Kind kind, const char *end, int64_t integer = 0);
  SmlToken word();
  SmlToken tag();
  SmlToken number();
  SmlToken string();
  bool header(SmlToken &token);
  const char *labelEnd() const;
  char at(const char *p) const { return p < end_ ? *p : '\0'; }

  const char *next_;
  const char *end_;
  const char *start_;
  LeadByteTest isLeadByte_;
  int line_ = 1;
  bool periodGiven_ = false;
};

} // namespace velto

#include "secs2/format.h"

#include <array>

namespace velto {

namespace {

using enum ElementKind;

constexpr std::array kRows{
    FormatInfo{0xFF, SecsInvalid, Unknown, "<?", "<?", "<?"},
    FormatInfo{format::kList, SecsList, List, "{", "<L", "List"},
    FormatInfo{format::kBinary, SecsBinary, Binary, "<b", "<B", "Binary"},
    FormatInfo{format::kBoolean, SecsBoolean, Boolean, "<bool", "<BOOLEAN", "bool"},
    FormatInfo{format::kAscii, SecsAscii, Text, "<a", "<A", "Ascii"},
    FormatInfo{format::kJis, SecsJis, Text, "<j", "<J", "JIS 8"},
    FormatInfo{format::kMbcs, SecsAscii2, Text, "<a2", "<A2", "MBCS"},
    FormatInfo{format::kI8, SecsLong8, Signed, "<i8", "<I8", "int64"},
    FormatInfo{format::kI1, SecsChar, Signed, "<i1", "<I1", "char"},
    FormatInfo{format::kI2, SecsShort, Signed, "<i2", "<I2", "short"},
    FormatInfo{format::kI4, SecsLong, Signed, "<i4", "<I4", "long"},
    FormatInfo{format::kF8, SecsDouble, Real, "<f8", "<F8", "double"},
    FormatInfo{format::kF4, SecsFloat, Real, "<f4", "<F4", "float"},
    FormatInfo{format::kU8, SecsDWord8, Unsigned, "<u8", "<U8", "uint64"},
    FormatInfo{format::kU1, SecsByte, Unsigned, "<u1", "<U1", "BYTE"},
    FormatInfo{format::kU2, SecsWord, Unsigned, "<u2", "<U2", "WORD"},
    FormatInfo{format::kU4, SecsDWord, Unsigned, "<u4", "<U4", "DWORD"},
};

// The row of each of the 64 codes; 0 is the row of unknown codes.
constexpr auto kRowOfCode = [] {
  std::array<uint8_t, 64> rows{};
  for (size_t i = 1; i < kRows.size(); ++i)
    rows[kRows[i].code] = static_cast<uint8_t>(i);
  return rows;
}();

constexpr auto kCodeOfType = [] {
  std::array<uint8_t, SecsAscii2 + 1> codes{};
  for (size_t i = 1; i < kRows.size(); ++i)
    codes[static_cast<size_t>(kRows[i].type)] = kRows[i].code;
  return codes;
}();

} // namespace

const FormatInfo &formatInfo(uint8_t code) {
  return kRows[code < kRowOfCode.size() ? kRowOfCode[code] : 0];
}

uint8_t formatOf(int type) {
  return type < 0 || type > SecsAscii2 ? uint8_t{0} : kCodeOfType[static_cast<size_t>(type)];
}

const char *TypeName(uint8_t code, TypeNameMode mode) {
  const FormatInfo &row = formatInfo(code);
  switch (mode) {
  case TypeNameMode::LowerTag:
    return row.lowerTag;
  case TypeNameMode::UpperTag:
    return row.upperTag;
  case TypeNameMode::Display:
    break;
  }
  return row.displayName;
}

} // namespace velto

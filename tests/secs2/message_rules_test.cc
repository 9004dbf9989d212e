#include "secs2/support.h"
#include "secs2/verifier.h"

#include <algorithm>
#include <set>
#include <utility>
#include <vector>

// The rules of all messages once more, stated apart from the message table: what each message may
// carry, where it may go, and what is proposed as its reply. The two must agree.

namespace velto {
namespace {

/// Messages that follow one rule. Bodies are SML, alternatives divided by "|"; "%N" stands for a
/// text of N characters. A right body of "*" is any, "!" is none at all. Where bodies are checked,
/// a missing one is wrong unless it is among the right ones; "?" leaves the wrong ones open.
struct Rule {
  Rule(uint8_t ofStream, std::vector<uint8_t> ofFunctions, char ofWbit, char ofSide,
       const char *rightBodies = "*", const char *wrongBodies = "?", const char *proposal = "")
      : stream(ofStream), functions(std::move(ofFunctions)), wbit(ofWbit),
        side(ofSide), right{rightBodies, rightBodies}, wrong{wrongBodies, wrongBodies},
        reply(proposal) {}
  /// The bodies differ on the host side.
  Rule &&onHost(const char *rightBodies, const char *wrongBodies) && {
    right[0] = rightBodies;
    wrong[0] = wrongBodies;
    return std::move(*this);
  }
  /// A wrong body has a reply of its own.
  Rule &&refusedWith(const char *body) && {
    refusal = body;
    return std::move(*this);
  }

  uint8_t stream;
  std::vector<uint8_t> functions;
  char wbit;            ///< 'W' required, 'N' forbidden, '-' neither
  char side;            ///< the local side that may receive it: 'E' equipment, 'H' host, 'B' both
  const char *right[2]; ///< on the host side, on the equipment side
  const char *wrong[2];
  const char *reply; ///< body of the reply proposed to a primary; empty: header only
  const char *refusal = "";
};

constexpr const char *kAny = "|{}|<f8 1>|{<a'x'>{<b 1>}}";
constexpr const char *kNotAck = "<b>|<b 0 0>|<u1 0>|{}";
constexpr const char *kNotBinary = "<u1 0>|<a'x'>|{}";
constexpr const char *kIds = "{}|{<u4 1><i1 2><a'x'>}|<u4 1 2>|<i2>";
constexpr const char *kNotIds = "{<b 1>}|{<u4 1>{}}|<a'x'>|<b 1>";
constexpr const char *kHcack = "{<b 0>{}}";
constexpr const char *kReports = "{<u4 1>{}}|{<u4 1>{{<u4 2>{<u4 3><a'v'>}}{<a'r'>{}}}}";
constexpr const char *kNotReports = "{<u4 1>}|{<b 1>{}}|{<u4 1>{<u4 2>}}|{<u4 1>{{<b 2>{}}}}|"
                                    "{<u4 1>{{<u4 2>}}}|{<u4 1>{{<u4 2>{<u4 3><b 3>}}}}";
constexpr const char *kEvent = "{<u4 1><u4 2>{}}|{<u4 1><u4 2>{{<u4 3>{<u4 4><f4 1>}}}}";
constexpr const char *kNotEvent = "{}|{<u4 1><u4 2>}|{<b 1><u4 2>{}}|{<u4 1><b 2>{}}|"
                                  "{<u4 1><u4 2>{<u4 3>}}|{<u4 1><u4 2>{{<b 3>{}}}}|"
                                  "{<u4 1><u4 2>{{<u4 3>}}}|{<u4 1><u4 2>{{<u4 3><u4 4>}}}";
constexpr const char *kModel = "{<a'123456'><a'1'>}";
constexpr const char *kNotModel = "{}|{<a'1234567'><a'1'>}|{<a'M'><a'1'><a>}|{<a'M'><b 1>}";
constexpr const char *kMaterial = "{<u1 1><a'M'>}|{<b 1><b 2>}";
constexpr const char *kNotMaterial = "{<u1 1>}|{<u1 1><u1 1>}|{<u1 1 2><a'M'>}|{<u2 1><a'M'>}";
constexpr const char *kCarrierAck = "{<u1 0>{}}|{<u1 1>{{<u4 1><a'e'>}}}";
constexpr const char *kNotCarrierAck = "{<b 0>{}}|{<u1 0>}|<u1 0>";
constexpr const char *kProgram = "{<a'P'><a'M'><a'1'>{}}|{<b 1><a'M'><a'1'>{{<u2 1>{<u4 1>}}}}";
constexpr const char *kNotProgram = "{<a'P'><a'M'><a'1'>}|{<u1 1><a'M'><a'1'>{}}|<a'P'>";
constexpr const char *kNotHeader = "<b 0 1 2 3 4 5 6 7 8>|<a'0123456789'>|{}";

const std::vector<Rule> kRules{
    // Stream 1: equipment status.
    Rule(1, {1}, 'W', 'B', "", "{}|<a'x'>", "{<a'Kel'><a'1.00'>}"),
    Rule(1, {2}, '-', 'B', "{}", "{<a'M'><a'1'>}|<a'x'>").onHost(kModel, kNotModel),
    Rule(1, {3}, 'W', 'E', kIds, kNotIds, "{}"),
    Rule(1, {4}, '-', 'H', "{}|{<f4 1>{}}", "<u4 1>"),
    Rule(1, {5}, 'W', 'E', "<b 3>", "<b>|<b 1 2>|<u1 1>|{}", "<b>"),
    Rule(1, {6}, '-', 'H'),
    Rule(1, {7}, 'W', 'E', "<b 3>", "<b>|<b 1 2>|<u1 1>|{}", "{<b>}"),
    Rule(1, {8}, '-', 'H', "{<a'x'>{}}", "{<a'x'>}|{<a'x'>{}{}}|{<a'x'>{<b>}}|{<b>{}}"),
    Rule(1, {9}, 'W', 'E', "", "{}|<b 0>", "{}"),
    Rule(1, {10}, '-', 'H', "{}|{<b><b 1 2>}", "{<b>}|{<b><b><b>}|{<b><a>}"),
    Rule(1, {11}, 'W', 'E', "{}|{<u4 1><i1 2><a'x'>}", "{<b 1>}|<u4 1>", "{}"),
    Rule(1, {12}, '-', 'H', "{}|{{<u4 1><a'n'><a'u'>}}", "{<u4 1>}|{{<u4 1><a>}}|{{<b 1><a><a>}}"),
    Rule(1, {13}, 'W', 'B', "{}", "{<a'M'><a'1'>}|<a'x'>", "{<b 0>{<a'Kel   '><a'1.00  '>}}")
        .onHost(kModel, kNotModel),
    Rule(1, {14}, '-', 'B', "{<b 0>{}}|{<b 1>{}}", "{<b 0>{<a>}}|{<b>{}}|{<u1 0>{}}|{<b 0>}")
        .onHost("{<b 0>{<a'M'><a'1'>}}|{<b 1>{}}",
                "{<b 0>{}}|{<b>{}}|{<b 1>}|{<b 0>{<a'1234567'><a>}}"),
    Rule(1, {15, 17}, 'W', 'E', "", "{}|<b 0>", "<b 0>"),
    Rule(1, {16, 18}, '-', 'H', "<b 0>|<b>", kNotBinary),
    Rule(1, {19}, 'W', 'B', "{<a>{}{}}|{<u4 1>{<u4 1><a'x'>}{<a'y'>}}",
         "{<i4 1>{}{}}|{<a>{<i4 1>}{}}|{<a>{}{<b 1>}}|{<a>{}}|{<a>{}{}{}}", "{{}{}}"),
    Rule(1, {20}, '-', 'B', "{{}{}}|{{<f4 1>}{{<u4 1><a'%80'>}}}",
         "{{}}|{{}{}{}}|{{}{<u4 1>}}|{{}{{<u4 1>}}}|{{}{{<i4 1><a>}}}|{{}{{<u4 1><a'%81'>}}}"),
    // Stream 2: equipment control.
    Rule(2, {1}, 'W', 'B', "{<a'%6'><u4 1>}", "{<a'%5'><u4 1>}|{<a'%6'><a>}|{<a'%6'>}", "<b 0>"),
    Rule(2, {2, 4}, '-', 'B', "<b 0>", kNotAck),
    Rule(2, {3}, 'W', 'B', "<b>|<b 1 2>", kNotBinary, "<b 0>"),
    Rule(2, {5}, 'W', 'B', "<a'%6'>", "<a'%5'>|<a'%7'>|<b 1 2 3 4 5 6>", "<b>"),
    Rule(2, {6, 26}, '-', 'B', "<b>|<b 1 2>", kNotBinary),
    Rule(2, {7}, 'W', 'E', "<a'%6'>", "<a'%5'>|<a'%7'>", "<b 0>"),
    Rule(2, {8, 16}, '-', 'H', "<b 0>", kNotAck),
    Rule(2, {9}, 'W', 'E', "<a'%6'>", "<a'%5'>|<a'%7'>"),
    Rule(2, {10}, '-', 'H'),
    Rule(2, {11}, 'W', 'B', "", "{}|<a'x'>", "{}"),
    Rule(2, {12}, '-', 'B', "{}|{<a'%6'><a'%6'>}", "{<a'%6'><a'%5'>}|<a'%6'>"),
    Rule(2, {13}, 'W', 'E', kIds, kNotIds, "{{}}"),
    Rule(2, {14}, '-', 'H', "{}|{<f4 1>{}}", "<u4 1>"),
    Rule(2, {15}, 'W', 'E', "{}|{{<u4 1><f4 1>}{<a'x'><a'y'>}}",
         "{<u4 1>}|{{<u4 1>}}|{{<b 1><a>}}|{{<u4 1><a><a>}}|<u4 1>", "<b 0>"),
    Rule(2, {17}, 'W', 'B', "", "{}|<a'x'>", "<a>"),
    Rule(2, {18}, '-', 'B', "<a>|<a'240229235959'>|<a'2024022923595999'>", "<a'240230000000'>|<b>"),
    Rule(2, {19}, 'W', 'E', "<u1 1>|<i1 1>", "<u1>|<u1 1 2>|<u2 1>", "<u1 0>"),
    Rule(2, {20}, '-', 'H', "<u1 1>|<i1 1>", "<u1>|<u1 1 2>|<u2 1>"),
    Rule(2, {21}, 'W', 'E', "<u1 1>|<i1 1>|<a'GO'>", "<u2 1>|<b 1>|{}", "<u1 0>"),
    Rule(2, {22, 28}, '-', 'H', "<u1 0>|<i1 1>", "<a'x'>|<u2 1>|{}"),
    Rule(2, {23}, 'W', 'E',
         "{<u4 1><a'%6'><u4 1><u4 1>{<u4 1>}}|{<a'T'><a'%6'><u4 1><u4 1><u4 1>}|"
         "{<u4 1><a'%8'><u4 1><u4 1><u4 1 2>}",
         "{<u4 1><a'%7'><u4 1><u4 1>{}}|{<b 1><a'%6'><u4 1><u4 1>{}}|{<u4 1><a'%6'><u4 1><u4 1>}",
         "<b 0>"),
    Rule(2, {24}, '-', 'H', "<b 0>|<b>", kNotBinary),
    Rule(2, {25}, 'W', 'B', "<b>|<b 1 2>", kNotBinary, "<b>"),
    Rule(2, {27}, 'W', 'E', "{<b 1><a'P'>{}}|{<b 1><b 1>{<a'M'>}}",
         "{<b 1><u1 1>{}}|{<b 1><a'P'>}|{<u1 1><a'P'>{}}", "<u1 0>"),
    Rule(2, {29}, 'W', 'E', kIds, kNotIds, "{}"),
    Rule(2, {30}, '-', 'H', "{}|{{<u4 1><a'n'><u4 0><f4 9><a'5'><a'u'>}}",
         "{<u4 1>}|{{<u4 1><a'n'><u4 0><u4 9><u4 5>}}|{{<b 1><a'n'><u4 0><u4 9><u4 5><a'u'>}}"),
    Rule(2, {31}, 'W', 'E', "<a'240229235959'>", "<a>|<a'230229000000'>|<a'x'>|<b>", "<b 0>"),
    Rule(2, {32, 34, 36, 38}, '-', 'H', "<b 0>|<b 255>", kNotAck),
    Rule(2, {33, 35}, 'W', 'E', kReports, kNotReports, "<b 0>").refusedWith("<b 2>"),
    Rule(2, {37}, 'W', 'E', "{<bool 1>{}}|{<bool 0>{<u4 1><a'x'>}}",
         "{<b 1>{}}|{<bool 1>}|{<bool 1>{<u4 1><b 1>}}|{<bool 1><u4 1>}", "<b 0>"),
    Rule(2, {39}, 'W', 'E', "{<u4 1><u4 2>}", "{<u4 1>}|{<b 1><u4 2>}|{<u4 1><a'x'>}", "<b 0>"),
    Rule(2, {40}, '-', 'H', "<b 0>", kNotBinary),
    Rule(2, {41}, 'W', 'E', "{<a'GO'>{}}|{<u1 1>{{<a'P'><u4 1>}{<u4 2><bool 1>}}}",
         "{<u4 1>{}}|{<a'GO'>}|{<a'GO'>{{<a'P'>}}}|{<a'GO'>{{<b 1><u4 1>}}}|"
         "{<a'GO'>{{<a'P'><f4 1>}}}|{<a'GO'>{{<a'P'><u4 1><u4 2>}}}",
         kHcack),
    Rule(2, {42}, '-', 'H', "{<b 0>{}}|{<b 3>{{<a'P'><b 1>}}}",
         "{<b>{}}|{<b 0>}|{<b 0>{{<b 1><b 1>}}}"),
    Rule(2, {43}, 'W', 'E', "{}|{{<u1 5>{}}{<u1 6>{<u1 11>}}}", "?", kHcack),
    Rule(2, {44}, '-', 'H', "{<b 0>{}}|{<b 1>{{<u1 5><b 1>{<u1 1>}}}}", "{<b>{}}|{<b 0>}"),
    Rule(2, {45}, 'W', 'E', "{<u4 1>{}}|{<u4 1>{{<u4 2>{{<b 1>{<f4 2><f4 1>}}}}}}",
         "{<b 1>{}}|{<u4 1>}|{<u4 1>{{<b 2>{}}}}", kHcack),
    Rule(2, {46}, '-', 'H', "{<b 0>{}}|{<b 1>{{<u4 2><b 1>{<b 1><b 2>}}}}",
         "{<b>{}}|{<b 0>}|{<b 0>{{<b 2><b 1>{}}}}"),
    Rule(2, {47}, 'W', 'E', "{}|{<u4 1><a'v'>}", "{<b 1>}|<b 1>"),
    Rule(2, {48}, '-', 'H', "{}|{{<u4 1>{}}{<u4 1>{<a'mm'><f4 0><f4 9>{{<b 1><f4 2><f4 1>}}}}}",
         "{{<b 1>{}}}|<u4 1>|{{<u4 1>{<a'mm'><f4 0><f4 9>}}}|{{<u4 1>{<a'mm'><f4 0><b 9>{}}}}|"
         "{{<u4 1>{<a'mm'><f4 0><f4 9>{{<u1 1><f4 2><f4 1>}}}}}|"
         "{{<u4 1>{<a'mm'><f4 0><f4 9>{{<b 1><f4 2>}}}}}"),
    Rule(2, {49}, 'W', 'E', "{<u4 1><a'O'><a'GO'>{}}|{<u4 1><a><u1 1>{{<a'P'><u4 1>}}}",
         "{<u4 1><a'O'><a'GO'>}|{<b 1><a'O'><a'GO'>{}}|{<u4 1><a'O'><u4 1>{}}", kHcack),
    Rule(2, {50}, '-', 'H', "{<b 0>{}}|{<b 3>{{<a'P'><u1 1>}}}", "{<b>{}}|{<b 0>}"),
    // Stream 3: material status.
    Rule(3, {1, 3, 19, 33}, 'W', 'E', ""),
    Rule(3, {2, 4}, '-', 'H', "{<b 1><a'M'>{}}|{<b 1><b 1>{}}",
         "{<u1 1><a'M'>{}}|{<b 1><u1 1>{}}|{<b 1><a'M'>}"),
    Rule(3, {5}, 'W', 'H', "{<a'M'><b 1>}", "{<u1 1><b 1>}|{<a'M'>}|{<a'M'><u1 1>}"),
    Rule(3, {6, 8, 10}, '-', 'E', "<b 0>", kNotBinary),
    Rule(3, {7}, 'W', 'H', "{<a'M'><b 1><a'I'>}", "{<a'M'><b 1>}|{<a'M'><b 1><u1 1>}"),
    Rule(3, {9}, 'W', 'H', "{<a'M'><a'I'>}|{<b 1><b 1>}", "{<a'M'>}|{<a'M'><u1 1>}"),
    Rule(3, {11}, 'W', 'H', "<u1 1>|<b 1>"),
    Rule(3, {12}, '-', 'E', "{<b 1><b 0><a'M'>}", "{<b 1><b 0>}|{<u1 1><b 0><a'M'>}|<b 1>"),
    Rule(3, {13}, 'W', 'E', "{<b 1><a'M'>}", "{<u1 1><a'M'>}|{<b 1>}|{<b 1><u1 1>}"),
    Rule(3, {14, 16}, '-', 'H', "<b 0>", kNotBinary),
    Rule(3, {15}, 'W', 'E', "{<u4 1><u4 9>}|{<a'D'><i2 9>}", "{<b 1><u4 9>}|{<u4 1><a'x'>}"),
    Rule(3, {17}, 'W', 'E', "{<u4 1><a'Bind'><a'C'><u1 1>{}}|{<u4 1><a'Bind'><a'C'><b 1>{}}",
         "{<u4 1><a'Bind'><a'C'><u1 1 2>{}}|{<u4 1><a'Bind'><a'C'><u2 1>{}}|"
         "{<u4 1><a'Bind'><a'C'><u1 1>}|{<b 1><a'Bind'><a'C'><u1 1>{}}"),
    Rule(3, {18, 20, 22, 24, 26, 28, 32, 34, 36}, '-', 'H', kCarrierAck, kNotCarrierAck),
    Rule(3, {21, 23}, 'W', 'E', "{<a'x'><a'y'>{}}", "{<a'x'><a'y'>}|{<u1 1><a'y'>{}}"),
    Rule(3, {25}, 'W', 'E', "{<a'x'><u1 1>{}}", "{<a'x'><u2 1>{}}|{<a'x'><u1 1>}|{<a'x'><a>{}}"),
    Rule(3, {27}, 'W', 'E', "{<u1 1>{}}", "{<b 1>{}}|{<u1 1>}"),
    Rule(3, {29}, 'W', 'E', "{<a><a><a'S'><u4 9>}", "{<a><a><a>}|{<a><a><a><a>}"),
    Rule(3, {30}, '-', 'H', "{<a'D'>{<u1 0>{}}}", "{<a'D'>{<u1 0>}}|{<b>{<u1 0>{}}}|{<a'D'>}"),
    Rule(3, {31}, 'W', 'E', "{<a><a><a><u4 9><a'D'>}", "{<a><a><a><u4 9>}|{<a><a><a><a><a>}"),
    Rule(3, {35}, 'W', 'E', "{<a'Create'><a'P'><u1 1><u1 2>{}{}{}}"),
    // Stream 4: material control.
    Rule(4, {1, 17}, 'W', 'B', kMaterial, kNotMaterial),
    Rule(4, {2, 18}, '-', 'B', "<b 0>", kNotBinary),
    Rule(4, {3, 5, 7}, 'N', 'B', kMaterial, kNotMaterial),
    Rule(4, {9, 11, 13, 15}, 'N', 'H', kMaterial, kNotMaterial),
    Rule(4, {19}, 'W', 'E', "{<u4 1>{<a'J'>{}}}", "{<b 1>{<a'J'>{}}}|{<u4 1>{<a'J'>}}|{<u4 1>}"),
    Rule(4, {20}, '-', 'H', "{<b 1>{<u4 1>}{<bool 1>{}}}", "{<u1 1>{}{<bool 1>{}}}|<b 1>|{<b 1>}"),
    Rule(4, {21}, 'W', 'E', "{<b 1><a'C'>{}}", "{<u1 1><a'C'>{}}|{<b 1><a'C'>}|{<b 1><b 1>{}}"),
    Rule(4, {22}, '-', 'H', "{<bool 1>{}}", "{<b 1>{}}|{<bool 1>}"),
    Rule(4, {23}, 'W', 'H', "{<b 1><a'J'><u1 1>{<bool 1>{}}}",
         "{<b 1><a'J'><u1 1>}|{<b 1><a'J'><u2 1>{<bool 1>{}}}|{<b 1><a'J'><u1 1>{<b 1>{}}}"),
    Rule(4, {24}, '-', 'E', "", "{}|<b 0>"),
    Rule(4, {25}, 'W', 'E', "{<u4 1><u4 9>}", "{<b 1><u4 9>}|{<u4 1><a'x'>}|{<u4 1>}"),
    Rule(4, {26}, '-', 'H', "<b 0>", kNotBinary),
    Rule(4, {27}, 'N', 'B',
         "{<a'E'>{<u4 1><u1 1><a'O'><u4 1><u1 1><a'P'><u4 1><u1 1><u1 1><u4 1>}}",
         "{<a'E'>{<u4 1><u1 1><a'O'><u4 1><u1 1><a'P'><u4 1><u1 1><u1 1>}}|{<a'E'>}"),
    Rule(4, {29}, 'N', 'E', "{<u4 1><u4 1><a'C'>{}}", "{<u4 1><u4 1><a'C'>}|{<i4 1><u4 1><a>{}}"),
    Rule(4, {31}, 'N', 'H', "{<u4 1><u4 1>{<bool 1>{}}}", "{<u4 1><u4 1>}|{<u4 1><u4 1>{<b 1>{}}}"),
    Rule(4, {33}, 'N', 'B', "{<u4 1>{<bool 1>{}}}", "{<u4 1>}|{<u4 1>{<b>{}}}"),
    Rule(4, {35, 39}, 'N', 'B', "<u4 1>", "<a'x'>|{}|<f8 1>"),
    Rule(4, {37, 41}, 'N', 'B', "{<u4 1><b 0>}", "{<u4 1>}|{<a'x'><b 0>}|<u4 1>"),
    // Stream 5: alarms and exceptions.
    Rule(5, {1}, 'W', 'H', "{<b 129><u4 1><a'T'>}",
         "{<b 1><u4 1>}|{<u1 1><u4 1><a>}|{<b 1><a'x'><a>}|{<b 1><u4 1><b>}", "<b 0>"),
    Rule(5, {2}, '-', 'E', "<b 0>", kNotAck),
    Rule(5, {3}, 'W', 'E', "{<b 128><u4 1>}|{<b 0><u4>}|{<b 0><u4 1 2>}", "{<b 1>}|{<b 1><a'x'>}",
         "<b 0>"),
    Rule(5, {4}, '-', 'H', "<b 0>", kNotAck),
    Rule(5, {5}, 'W', 'E', "<u4>|<i2 1 2>|{}|{<u4 1><u1 2>}", "<a'x'>|{<b 1>}|{<u4 1>{}}", "{}"),
    Rule(5, {6}, '-', 'H', "{}|{{<b 1><u4 1><a'T'>}{<b><u4 2><a>}}",
         "{<u4 1>}|{{<b 1><u4 1>}}|{{<b 1><a'x'><a>}}"),
    Rule(5, {7}, 'W', 'E', "", "?", "{}"),
    Rule(5, {8}, '-', 'H', "{}|{<f4 1>{}}", "<u4 1>"),
    Rule(5, {9}, 'W', 'H', "{<a'2024022923595900'><a'E'><a'T'><a'M'>{}}",
         "{<a'240229235959'><a><a><a>{}}|{<a'2024022923595900'><a><a><a>}"),
    Rule(5, {10, 12, 16}, '-', 'E', "", "{}|<b 0>"),
    Rule(5, {11}, 'W', 'H', "{<a'2024022923595900'><a'E'><a'T'><a'M'>}",
         "{<a'2024023023595900'><a><a><a>}|{<a'2024022923595900'><a><a>}"),
    Rule(5, {13}, 'W', 'H', "{<a'E'><a'%40'>}", "{<a'E'>}|{<a'E'><a'%41'>}|{<b 1><a>}"),
    Rule(5, {14, 17}, '-', 'E', "!", "*"),
    Rule(5, {15, 18}, '-', 'H', "!", "*"),
    // Stream 6: data collection.
    Rule(6, {1}, 'W', 'H', "{<u4 1><u4 1><a'240229235959'>{<f4 1>}}",
         "{<u4 1><u4 1><a'240229235959'>}|{<b 1><u4 1><a'240229235959'>{}}", "<b 0>"),
    Rule(6, {2, 4, 6, 10, 12, 14}, '-', 'E', "<b 0>", kNotAck),
    Rule(6, {3, 9, 13}, 'W', 'H', "*", "?", "<b 0>"),
    Rule(6, {5}, 'W', 'H', "{<u4 1><u4 9>}", "{<u4 1>}|{<b 1><u4 9>}|{<u4 1><a'x'>}", "<b 0>"),
    Rule(6, {7, 17, 21, 29}, 'W', 'E'),
    Rule(6, {8, 18, 22, 30}, '-', 'H'),
    Rule(6, {11}, 'W', 'H', kEvent, kNotEvent, "<b 0>"),
    Rule(6, {15, 19}, 'W', 'E', "<u4 1>|<a'x'>", "{<u4 1>}|<b 1>|{}", "{}"),
    Rule(6, {16}, '-', 'H', kEvent, kNotEvent),
    Rule(6, {20}, '-', 'H', "{}|{<f4 1>{}}", "<u4 1>"),
    Rule(6, {23}, 'W', 'E', "<u1 0>", ""),
    Rule(6, {24}, '-', 'H', "<b 0>", kNotBinary),
    Rule(6, {25}, 'W', 'B', "*", "?", "<b 0>"),
    Rule(6, {26}, '-', 'B'),
    Rule(6, {27}, 'W', 'H'),
    Rule(6, {28}, '-', 'E'),
    // Stream 7: process programs.
    Rule(7, {1}, 'W', 'B', "{<a'P'><u4 9>}", "{<a'P'>}|{<u1 1><u4 9>}|{<a'P'><a'x'>}"),
    Rule(7, {2, 4, 24}, '-', 'B', "<b 0>"),
    Rule(7, {3}, 'W', 'B', "{<a'P'><b 1 2>}|{<b 1><a'x'>}", "{<a'P'>}|{<u1 1><b>}|<a'P'>", "<b 0>"),
    Rule(7, {5, 25}, 'W', 'B', "<a'%80'>|<b 1>", "<u1 1>|{}|<a'%81'>"),
    Rule(7, {6}, '-', 'B', "{}|{<a'P'><b 1>}", "{<a'P'>}|{<u1 1><b 1>}|<a'P'>"),
    Rule(7, {7, 27, 29}, 'W', 'H'),
    Rule(7, {8, 30}, '-', 'E'),
    Rule(7, {9, 33, 35}, 'W', 'B'),
    Rule(7, {10, 34, 36}, '-', 'B'),
    Rule(7, {11, 13, 15, 31}, 'W', 'E', "*", "?", "<b 0>"),
    Rule(7, {12, 14, 16, 18}, '-', 'H', "<b 0>"),
    Rule(7, {17}, 'W', 'E', "{}|{<a'P'><b 1>}", "{<a'P'><u1 1>}|<a'P'>", "<b 0>"),
    Rule(7, {19}, 'W', 'E', "", "{}|<a'P'>"),
    Rule(7, {20}, '-', 'H', "{}|{<a'P'><b 1>}", "{<a'P'><u1 1>}|<a'P'>"),
    Rule(7, {21}, 'W', 'E'),
    Rule(7, {22, 32}, '-', 'H', "<b 0>"),
    Rule(7, {23}, 'W', 'B', kProgram, kNotProgram, "<b 0>"),
    Rule(7, {26}, '-', 'B', kProgram, kNotProgram),
    Rule(7, {28}, '-', 'E', "", "{}|<b 0>"),
    // Streams 8 to 10: control programs, errors, terminals.
    Rule(8, {1, 3}, 'W', 'B'),
    Rule(8, {2, 4}, '-', 'B'),
    Rule(9, {1, 3, 5, 7, 9, 11}, 'N', 'H', "<b 0 1 2 3 4 5 6 7 8 9>", kNotHeader),
    Rule(9, {13}, 'N', 'H', "{<a'S2F33'><u4 1>}|{<a'S2F33'><b 1>}",
         "{<a'S2F33'>}|{<a'S2F33'><u4 1><u4 1>}|{<b 1><u4 1>}|{<a'S2F33'><f4 1>}"),
    Rule(10, {1}, 'W', 'H', "{<b 0><a'T'>}|{<b 0><a2'T'>}|{<b 0><u1 1>}",
         "{<b 0>}|{<b 0><j'x'>}|{<b 0>{}}|{<u1 0><a'T'>}", "<b 0>"),
    Rule(10, {2}, '-', 'E', "<b 0>", kNotAck),
    Rule(10, {3}, 'W', 'E', "{<b 0><a'T'>}|{<b 0><b 1>}", "{<b 0>}|{<b 0><j'x'>}", "<b 0>"),
    Rule(10, {4, 6}, '-', 'H', "<b 0>"),
    Rule(10, {5}, 'W', 'E', "{<b 0>{}}|{<b 0>{<a'A'><a2'B'>}}", "{<b 0>}|{<b 0>{<j'x'>}}", "<b 0>"),
    Rule(10, {7}, 'N', 'H'),
    Rule(10, {9}, 'W', 'E', "*", "?", "<b 0>"),
    Rule(10, {10}, '-', 'H'),
    // Streams 12 and 13: wafer maps, data sets.
    Rule(12, {1, 3, 5, 7, 9, 11, 13, 15, 17}, 'W', 'H'),
    Rule(12, {2, 4, 6, 8, 10, 12, 14, 16, 18}, '-', 'E'),
    Rule(12, {19}, 'N', 'E'),
    Rule(12, {20}, '-', 'B', "!", "*"),
    Rule(13, {1, 3, 5, 7, 9, 13, 15}, 'W', 'B'),
    Rule(13, {2, 4, 6, 8, 10, 14, 16}, '-', 'B'),
    Rule(13, {11}, 'W', 'E'),
    Rule(13, {12}, '-', 'H'),
    // Stream 14: objects.
    Rule(14, {1}, 'W', 'B', "{<a><a'T'>{}{}{}}|{<a><a'T'>{<a'O'>}{{<a'A'><u4 1><u1 0>}}{<a'A'>}}",
         "{<a><a'T'>{}{}}|{<b 1><a'T'>{}{}{}}|<a'T'>"),
    Rule(14, {2}, '-', 'B', "{{}{<u1 0>{}}}|{{{<a'O'>{{<a'A'><u4 1>}}}}{<u1 0>{{<u4 1><a'e'>}}}}",
         "{{}}|{{}<u1 0>}|<a'x'>"),
    Rule(14, {3, 9, 11, 13, 15, 17, 23}, 'W', 'B'),
    Rule(14, {4, 10, 12, 14, 16, 18, 24}, '-', 'B'),
    Rule(14, {5, 7, 19, 25, 27}, 'W', 'E'),
    Rule(14, {6, 8, 20, 26, 28}, '-', 'H'),
    Rule(14, {21}, 'W', 'H'),
    Rule(14, {22}, '-', 'E'),
    // Stream 15: recipes.
    Rule(15, {1}, 'W', 'B', "{<u4 1><a'R'><u4 9>}", "{<u4 1><a'R'>}|{<b 1><a'R'><u4 9>}", "<b 0>"),
    Rule(15, {2}, '-', 'B', "<b 0>", kNotBinary),
    Rule(15, {3, 5, 7, 9, 11, 13, 15, 17, 19, 23, 25, 37, 39, 41, 43, 45, 47}, 'W', 'B'),
    Rule(15, {4, 6, 8, 10, 12, 14, 16, 18, 20, 24, 26, 38, 40, 42, 44, 46, 48}, '-', 'B'),
    Rule(15, {21}, 'W', 'B', "{<u4 1><u1 1><a'N'><u4 1><a'A'>{<a'R'>}}", "{<u4 1>}|<u4 1>|<f8 1>"),
    Rule(15, {22}, '-', 'B', "{<a'A'><u4 1><u1 1>{<u1 0>{}}}", "{<a'A'>}|<a'A'>|<f8 1>"),
    Rule(15, {27}, 'W', 'E', "{<u4 1><bool 1><a'R'>{}<a'B'>}", "{<u4 1>}|<u4 1>|<f8 1>"),
    Rule(15, {29}, 'W', 'E', "{<u4 1><u4 1><a'E'>{<a'R'>}}", "{<u4 1>}|<u4 1>|<f8 1>"),
    Rule(15, {31, 33}, 'W', 'E'),
    Rule(15, {28, 30, 32, 34, 36}, '-', 'H'),
    Rule(15, {35}, 'W', 'E', "{<u4 1><a'E'><u1 1>{<a'R'>}}", "{<u4 1>}|<u4 1>|<f8 1>"),
    // Streams 16 to 18: processing, equipment, subsystems.
    Rule(16, {1, 3, 5, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29}, 'W', 'E'),
    Rule(16, {2, 4, 6, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30}, '-', 'H'),
    Rule(16, {7, 9}, 'W', 'H'),
    Rule(16, {8, 10}, '-', 'E'),
    Rule(17, {1, 3, 5, 7, 9, 11, 13}, 'W', 'E'),
    Rule(17, {2, 4, 6, 8, 10, 12, 14}, '-', 'H'),
    Rule(18, {1, 3, 5, 7, 9, 11, 13}, 'W', 'E'),
    Rule(18, {2, 4, 6, 8, 10, 12}, '-', 'H'),
};

/// The bodies of a rule: none for "!" and "?".
std::vector<std::string> bodiesOf(std::string_view text) {
  if (text == "!" || text == "?")
    return {};
  if (text == "*")
    text = kAny;
  std::vector<std::string> bodies(1);
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '|') {
      bodies.emplace_back();
    } else if (text[i] == '%') {
      bodies.back().append(static_cast<size_t>(decimal32(text.substr(i + 1))), 'x');
      i = text.find_first_not_of("0123456789", i + 1) - 1;
    } else {
      bodies.back() += text[i];
    }
  }
  return bodies;
}

/// A reply as hexadecimal text.
std::string hexOf(unsigned id, unsigned stream, unsigned function, unsigned systemBytes,
                  const std::string &body) {
  return formatText("%04x%02x%02x0000%08x", id, stream, function, systemBytes) + body;
}

/// Verifies a message on one side; `proposal` is the body proposed for results 0 and 3.
void expectVerdict(bool equipment, unsigned stream, unsigned function, bool wbit,
                   const std::string &body, int result, const std::string &proposal = "") {
  constexpr unsigned kId = 0x0105;
  constexpr unsigned kSystemBytes = 0x00010777;
  CHSecsVerifier slot;
  slot.isEquipmentSide = equipment;
  slot.message = fromSml(formatText("s%uf%u%s", stream, function, wbit ? "w" : "") + body);
  slot.message.header.idWord = kId;
  slot.message.header.systemBytes = kSystemBytes;
  SCOPED_TRACE(formatText("S%uF%u%s %s on the %s side", stream, function, wbit ? "W" : "",
                          body.c_str(), equipment ? "equipment" : "host"));
  ASSERT_EQ(slot.Verify(true), result);

  constexpr unsigned kStream9[] = {0, 0, 7, 0, 7, 7, 7, 3, 5}; // by result
  const unsigned error = kStream9[result];
  const bool answered = wbit && function % 2 == 1;
  EXPECT_EQ(slot.partner()->replyValid, error != 0 || answered);
  const std::string reply = slot.partner()->message.GetMsg();
  const std::string header = "210a" + slot.message.GetMsg().substr(0, 20);
  if (error != 0)
    EXPECT_EQ(reply, equipment ? hexOf(0xFFFF, 9, error, 0, header)
                               : hexOf(kId, stream, 0, kSystemBytes, ""));
  else if (result == VerificationUserDefined)
    EXPECT_EQ(reply, equipment ? hexOf(answered ? kId : 0xFFFF, 9, stream > 63 ? 3 : 5,
                                       answered ? kSystemBytes : 0, header)
                               : hexOf(kId, stream, (function + 1) % 256, kSystemBytes, ""));
  else if (answered)
    EXPECT_EQ(reply, hexOf(kId, stream, function + 1, kSystemBytes, bodyHex("s0f0" + proposal)));
  else
    EXPECT_EQ(reply.substr(4), "0000000000000000") << "no reply is prepared";
}

/// What the W-bit and the direction make of a message whose body gives `bodyResult`.
int resultOf(const Rule &rule, unsigned function, bool equipment, bool wbit, int bodyResult) {
  if (function % 2 == 0 && wbit)
    return VerificationIncorrect;
  if (rule.wbit == 'W' && !wbit)
    return VerificationNoWBit;
  if (rule.wbit == 'N' && wbit)
    return VerificationWBit;
  if (rule.side != 'B' && (rule.side == 'E') != equipment)
    return VerificationWrongDirection;
  return bodyResult;
}

TEST(MessageRules, EveryMessageIsJudgedAsStated) {
  for (const Rule &rule : kRules)
    for (const int choice : {0, 1, 2, 3}) {
      const bool equipment = (choice & 1) != 0;
      const bool wbit = (choice & 2) != 0;
      const auto right = bodiesOf(rule.right[equipment]);
      auto wrong = bodiesOf(rule.wrong[equipment]);
      if (*rule.wrong[equipment] != '?' && std::ranges::find(right, "") == right.end())
        wrong.emplace_back();
      const int wrongResult =
          *rule.refusal == '\0' ? VerificationIncorrect : VerificationIncorrectAndReply;
      for (const uint8_t function : rule.functions) {
        for (const std::string &body : right)
          expectVerdict(equipment, rule.stream, function, wbit, body,
                        resultOf(rule, function, equipment, wbit, VerificationCorrect), rule.reply);
        for (const std::string &body : wrong)
          expectVerdict(equipment, rule.stream, function, wbit, body,
                        resultOf(rule, function, equipment, wbit, wrongResult), rule.refusal);
      }
    }
}

TEST(MessageRules, NoBodyThatEndsEarlyIsRight) {
  for (const Rule &rule : kRules)
    for (const bool equipment : {false, true}) {
      if (*rule.wrong[equipment] == '?')
        continue; // of any body
      for (const std::string &body : bodiesOf(rule.right[equipment])) {
        const char *wbit = rule.wbit == 'W' ? "w" : "";
        Bytes whole;
        fromSml(formatText("s%uf%u%s", rule.stream, rule.functions[0], wbit) + body).Encode(whole);
        for (size_t size = CHSecsHeader::kSize + 1; size < whole.size(); ++size) {
          CHSecsVerifier slot;
          slot.isEquipmentSide = equipment;
          ASSERT_TRUE(slot.message.Decode(ByteView(whole).first(size)));
          EXPECT_NE(slot.Verify(true), VerificationCorrect)
              << "S" << +rule.stream << "F" << +rule.functions[0] << " " << toHex(whole)
              << " cut to " << size << " bytes";
        }
      }
    }
}

TEST(MessageRules, NoOtherMessageIsKnown) {
  std::set<unsigned> stated;
  for (const Rule &rule : kRules)
    for (const uint8_t function : rule.functions)
      EXPECT_TRUE(stated.insert(rule.stream * 256U + function).second)
          << "S" << +rule.stream << "F" << +function << " is stated twice";
  for (unsigned stream = 0; stream < 128; ++stream)
    for (unsigned function = 1; function < 256; ++function) {
      const bool userDefined = stream > 63 || (stream > 0 && function > 63);
      const bool known = stream >= 1 && stream <= 18 && stream != 11;
      if (stated.contains(stream * 256 + function) ||
          (userDefined && function > 66 && function < 254)) // all alike
        continue;
      for (const int choice : {0, 1, 2, 3}) {
        const bool wbit = (choice & 2) != 0;
        expectVerdict((choice & 1) != 0, stream, function, wbit, "",
                      userDefined                 ? VerificationUserDefined
                      : wbit && function % 2 == 0 ? VerificationIncorrect
                      : known                     ? VerificationUnrecognizedFunction
                                                  : VerificationUnrecognizedStream);
      }
    }
  stated.insert(18 * 256 + 14); // built, but not known when it is received
  EXPECT_EQ(messageTable().size(), stated.size());
  for (const MessageRow &row : messageTable())
    EXPECT_TRUE(stated.contains(row.stream * 256U + row.function))
        << "S" << +row.stream << "F" << +row.function;
}

TEST(MessageRules, AnAbortIsAHeaderWithoutTheWBit) {
  for (const unsigned stream : {0U, 1U, 9U, 11U, 18U, 19U, 63U, 64U, 127U})
    for (const int choice : {0, 1, 2, 3})
      for (const char *body : {"", "{}", "<b 0>"}) {
        const bool wbit = (choice & 2) != 0;
        expectVerdict((choice & 1) != 0, stream, 0, wbit, body,
                      wbit || *body != '\0' ? VerificationIncorrect : VerificationCorrect);
      }
}

} // namespace
} // namespace velto

// The enumerations of messages, links and the list of lines.

#include "controls/enumerations.h"

#include "controls/problem_numbers.h"
#include "platform/socket_error.h"
#include "secs2/edition.h"
#include "secs2/format.h"
#include "secs2/header.h"
#include "secs2/verifier.h"

namespace velto::enumerations {

namespace {

EnumerationValue verification(VeltoSecsIIVerification result, const char *help) {
  return {result, toText(result), help};
}

EnumerationValue sessionType(SType type, const char *name, const char *help) {
  return {static_cast<int32_t>(type), name, help};
}

} // namespace

const Enumeration &itemTypes() {
  static const Enumeration types{
      "VeltoSecsIIType",
      "The types of SECS-II items (SEMI E5).",
      {{SecsInvalid, "SecsInvalid", "No item, or a format that the standard does not name."},
       {SecsList, "SecsList", "List (L)."},
       {SecsBinary, "SecsBinary", "Bytes (B)."},
       {SecsBoolean, "SecsBoolean", "Boolean."},
       {SecsAscii, "SecsAscii", "ASCII text (A)."},
       {SecsJis, "SecsJis", "JIS 8 text (J)."},
       {SecsLong8, "SecsLong8", "Signed, 8 bytes (I8)."},
       {SecsChar, "SecsChar", "Signed, 1 byte (I1)."},
       {SecsShort, "SecsShort", "Signed, 2 bytes (I2)."},
       {SecsLong, "SecsLong", "Signed, 4 bytes (I4)."},
       {SecsDouble, "SecsDouble", "Floating point, 8 bytes (F8)."},
       {SecsFloat, "SecsFloat", "Floating point, 4 bytes (F4)."},
       {SecsDWord8, "SecsDWord8", "Unsigned, 8 bytes (U8)."},
       {SecsByte, "SecsByte", "Unsigned, 1 byte (U1)."},
       {SecsWord, "SecsWord", "Unsigned, 2 bytes (U2)."},
       {SecsDWord, "SecsDWord", "Unsigned, 4 bytes (U4)."},
       {SecsAscii2, "SecsAscii2", "Text with a character-set code of two bytes in front."}}};
  return types;
}

const Enumeration &verifications() {
  static const Enumeration results{
      "VeltoSecsIIVerification",
      "What verification says of a message (SEMI E5).",
      {verification(VerificationCorrect, "As the standard has it."),
       verification(VerificationUserDefined, "A message that the standard leaves to its users."),
       verification(VerificationIncorrect,
                    "The body has not the standard's structure, or came malformed."),
       verification(VerificationIncorrectAndReply,
                    "So, and the message has a reply of its own for it."),
       verification(VerificationNoWBit, "The W-bit is missing."),
       verification(VerificationWBit, "The W-bit is set and must not be."),
       verification(VerificationWrongDirection, "This side does not receive it."),
       verification(VerificationUnrecognizedStream, "No such stream."),
       verification(VerificationUnrecognizedFunction, "No such function in the stream.")}};
  return results;
}

const Enumeration &editions() {
  static const Enumeration editions{
      "VeltoSecsIIEdition",
      "The editions of SEMI E5.",
      {{static_cast<int32_t>(E5Edition::Early), "Early",
        "Texts as short as they once were, replies mostly a header."},
       {static_cast<int32_t>(E5Edition::Current), "Current",
        "Longer texts, optional replies, the standard's own reply bodies."}}};
  return editions;
}

const Enumeration &sessionTypes() {
  static const Enumeration types{
      "VeltoHsmsSType",
      "The session types of HSMS (SEMI E37 8.2.6).",
      {sessionType(SType::Data, "DataMessage", "A SECS-II message."),
       sessionType(SType::SelectReq, "SelectReq", "Asks to select the connection."),
       sessionType(SType::SelectRsp, "SelectRsp", "Answers Select.req."),
       sessionType(SType::DeselectReq, "DeselectReq", "Asks to end the selection."),
       sessionType(SType::DeselectRsp, "DeselectRsp", "Answers Deselect.req."),
       sessionType(SType::LinktestReq, "LinktestReq", "Asks whether the partner is there."),
       sessionType(SType::LinktestRsp, "LinktestRsp", "Answers Linktest.req."),
       sessionType(SType::RejectReq, "RejectReq", "Rejects a message."),
       sessionType(SType::SeparateReq, "SeparateReq", "Ends the selection at once.")}};
  return types;
}

const Enumeration &hsmsErrors() {
  static const Enumeration errors{
      "VeltoHsmsError",
      "The problems of VeltoHsms; others are the platform's (VeltoSocketError).",
      {{ErrorHsmsCannotSend, "ErrorHsmsCannotSend", "A message could not be sent."},
       {ErrorHsmsTooLong, "ErrorHsmsTooLong", "A length of 0 or above the maximum."},
       {ErrorHsmsLonger, "ErrorHsmsLonger", "Not raised."},
       {ErrorHsmsT8, "ErrorHsmsT8", "T8: a message stopped arriving."},
       {ErrorHsmsT3, "ErrorHsmsT3", "T3: no reply; the text is the primary in hexadecimal."},
       {ErrorHsmsT5, "ErrorHsmsT5", "Not raised."},
       {ErrorHsmsT6, "ErrorHsmsT6",
        "T6: no control response; the text is the request in hexadecimal."},
       {ErrorHsmsT7, "ErrorHsmsT7", "T7: connected but not selected."},
       {ErrorHsmsOther, "ErrorHsmsOther", "Not raised."}}};
  return errors;
}

const Enumeration &secsIErrors() {
  static const Enumeration errors{
      "VeltoSecsIError",
      "The problems of VeltoSecsI and VeltoSecsISocket; others are the platform's.",
      {{ErrorSecsUnexpectedChar, "ErrorSecsUnexpectedChar", "Another character than was due."},
       {ErrorSecsBadLength, "ErrorSecsBadLength", "A length byte outside 10 to 254."},
       {ErrorSecsBadSum, "ErrorSecsBadSum", "A wrong checksum; the text is the block's header."},
       {ErrorSecsBadParity, "ErrorSecsBadParity", "Wrong parity of a data byte with MSEC."},
       {ErrorSecsBadMultiBlockNumber, "ErrorSecsBadMultiBlockNumber",
        "A block is missing; the text is the header."},
       {ErrorSecsBadBlockNumber, "ErrorSecsBadBlockNumber",
        "A first block numbered above 1; the text is the header."},
       {ErrorSecsNak, "ErrorSecsNak", "The other side refused a block (NAK)."},
       {ErrorSecsRetry, "ErrorSecsRetry", "A message was given up; the text is the message."},
       {ErrorSecsT4, "ErrorSecsT4", "T4: the next block did not come; the text is the header."},
       {ErrorSecsT2, "ErrorSecsT2", "T2: the other side did not answer in time."},
       {ErrorSecsT1, "ErrorSecsT1", "T1: the next character did not come."},
       {ErrorSecsT3, "ErrorSecsT3", "T3: no reply; the text is the primary."},
       {ErrorSecsBadDeviceID, "ErrorSecsBadDeviceID",
        "A message for another device, answered with S9F1."},
       {ErrorSecsNoPeer, "ErrorSecsNoPeer", "A listener has no peer of the addressed name."}}};
  return errors;
}

const Enumeration &socketErrors() {
  static const Enumeration errors{
      "VeltoSocketError",
      "The problems of VeltoSocket, and those that every link has from the platform.",
      {{-1, "ErrorSocketCannotSend", "Bytes could not be sent."},
       {ErrorSocketEFault, "ErrorSocketEFault", "A bad address in memory."},
       {ErrorSocketEInval, "ErrorSocketEInval", "An invalid argument."},
       {ErrorSocketEMFile, "ErrorSocketEMFile", "Too many open descriptors."},
       {ErrorSocketEWouldBlock, "ErrorSocketEWouldBlock", "It would block."},
       {ErrorSocketEInProgress, "ErrorSocketEInProgress", "It is under way."},
       {ErrorSocketENotSock, "ErrorSocketENotSock", "No socket."},
       {ErrorSocketEDestAddrReq, "ErrorSocketEDestAddrReq", "An address is missing."},
       {ErrorSocketEAFNoSupport, "ErrorSocketEAFNoSupport", "No address of that family."},
       {ErrorSocketEAddrInUse, "ErrorSocketEAddrInUse", "The port is in use."},
       {ErrorSocketEAddrNotAvail, "ErrorSocketEAddrNotAvail", "No such address here."},
       {ErrorSocketENetDown, "ErrorSocketENetDown", "The network is down."},
       {ErrorSocketENetUnreach, "ErrorSocketENetUnreach", "The network cannot be reached."},
       {ErrorSocketENoBufs, "ErrorSocketENoBufs", "No room for what is to be sent."},
       {ErrorSocketEISConn, "ErrorSocketEISConn", "Connected already."},
       {ErrorSocketETimedOut, "ErrorSocketETimedOut", "The remote end did not answer."},
       {ErrorSocketEConnRefused, "ErrorSocketEConnRefused",
        "The remote end refused the connection."},
       {ErrorSocketNotInitialized, "ErrorSocketNotInitialized", "Sockets are not ready."}}};
  return errors;
}

const Enumeration &parities() {
  static const Enumeration parities{"VeltoCommParity",
                                    "The parity of characters on a serial line.",
                                    {{0, "NoParity", "No parity bit."},
                                     {1, "OddParity", "Odd."},
                                     {2, "EvenParity", "Even."},
                                     {3, "MarkParity", "Always 1."},
                                     {4, "SpaceParity", "Always 0."}}};
  return parities;
}

const Enumeration &stopBits() {
  static const Enumeration bits{
      "VeltoCommStopBit",
      "The stop bits of characters on a serial line.",
      {{0, "OneStopBit", "One."},
       {1, "OneAndAHalfStopBits", "One and a half; no device opens with it."},
       {2, "TwoStopBits", "Two."}}};
  return bits;
}

const Enumeration &dateFormats() {
  static const Enumeration formats{"VeltoLogDateFormat",
                                   "How the list writes dates.",
                                   {{0, "YearMonthDay", "2026/11/16"},
                                    {1, "MonthDayYear", "11/16/2026"},
                                    {2, "DayMonthYear", "16/11/2026"},
                                    {3, "NamedMonth", "November, 16th, 2026"}}};
  return formats;
}

} // namespace velto::enumerations

#include "secs2/verifier.h"

#include "secs2/item_codec.h"
#include "secs2/message_table.h"
#include "secs2/reply_text.h"
#include "secs2/structure.h"

#include <array>
#include <vector>

namespace velto {

namespace {

constexpr uint8_t kFirstUserDefined = 64; // of streams and functions alike

// Stream 9 functions (SEMI E5).
constexpr uint8_t kUnrecognizedStream = 3;
constexpr uint8_t kUnrecognizedFunction = 5;
constexpr uint8_t kIllegalData = 7;

bool expectsReply(const CHSecsHeader &header) {
  return header.function() % 2 == 1 && header.wbit();
}

// A row of the message table for one of the sides, parsed.
struct ParsedRow {
  ParsedRow(const MessageRow &row, bool equipmentSide, E5Edition edition) {
    const MessageRule &rule = row.of(edition);
    const char *body = !equipmentSide && rule.hostBody != nullptr ? rule.hostBody : rule.body;
    structure = Structure::parse(body == nullptr ? "!" : body, edition).value_or(Structure());
    hasProposal =
        rule.hasReply() && MakeReply(proposal, row.stream, static_cast<uint8_t>(row.function + 1),
                                     equipmentSide, rule.proposal, edition);
  }

  Structure structure;
  CHSecsMessage proposal; ///< the reply that is proposed to the message
  bool hasProposal;
};

// The message table in one edition, parsed once.
class ParsedTable {
public:
  explicit ParsedTable(E5Edition edition) {
    rows_.reserve(2 * messageTable().size());
    for (const MessageRow &row : messageTable())
      for (const bool equipmentSide : {false, true})
        rows_.emplace_back(row, equipmentSide, edition);
  }
  const ParsedRow &of(const MessageRow &row, bool equipmentSide) const {
    return rows_[2 * static_cast<size_t>(&row - messageTable().data()) + (equipmentSide ? 1 : 0)];
  }

private:
  std::vector<ParsedRow> rows_;
};

template <E5Edition edition> const ParsedTable &parsedTable() {
  static const ParsedTable table(edition);
  return table;
}

const ParsedRow &parsed(const MessageRow &row, bool equipmentSide, E5Edition edition) {
  const ParsedTable &table = edition == E5Edition::Current ? parsedTable<E5Edition::Current>()
                                                           : parsedTable<E5Edition::Early>();
  return table.of(row, equipmentSide);
}

} // namespace

const char *toText(VeltoSecsIIVerification result) {
  static constexpr std::array kNames{"VerificationCorrect",
                                     "VerificationUserDefined",
                                     "VerificationIncorrect",
                                     "VerificationIncorrectAndReply",
                                     "VerificationNoWBit",
                                     "VerificationWBit",
                                     "VerificationWrongDirection",
                                     "VerificationUnrecognizedStream",
                                     "VerificationUnrecognizedFunction"};
  return result < kNames.size() ? kNames[result] : "";
}

CHSecsVerifier::CHSecsVerifier(Kind kind)
    : partner_(kind == Kind::Slot ? std::make_unique<CHSecsVerifier>(Kind::Partner) : nullptr) {}

VeltoSecsIIVerification CHSecsVerifier::Verify(bool hsmsMode) {
  if (partner_ == nullptr)
    return result; // a reply is not answered
  partner_->message.node.clear();
  partner_->message.Reset(0);
  partner_->replyValid = false;
  if (hsmsMode && message.header.sType() != 0)
    return result = verifyControl();
  message.node.clear();
  const HeaderVerdict verdict = judgeHeader();
  result = verdict.row != nullptr ? check(*verdict.row) : verdict.result;
  if (result == VerificationUserDefined)
    answerUserDefined();
  applyReplyPolicy();
  return result;
}

VerifyFinding CHSecsVerifier::Finding(bool hsmsMode) const {
  if (hsmsMode && message.header.sType() != 0)
    return {};
  const HeaderVerdict verdict = judgeHeader();
  if (verdict.row == nullptr)
    return {"", verdict.objection};
  const Structure &structure = parsed(*verdict.row, isEquipmentSide, edition).structure;
  std::string ignored;
  if (structure.matches(message.root, ignored) && !isMalformed(message.root))
    return {};
  const VerifyFinding finding = wireFinding(message.root);
  return finding ? finding : structure.findingOf(message.root);
}

std::string CHSecsVerifier::FindingText(bool hsmsMode) const {
  const VerifyFinding finding = Finding(hsmsMode);
  if (!finding)
    return "";
  CHSecsHeader header = message.header;
  header.setWbit(false);
  return HeaderText(header, HeaderTextMode::Name) + (finding.path.empty() ? "" : " ") +
         finding.path + ": " + finding.text;
}

// A request's suggested reply is its response; other control messages have none.
VeltoSecsIIVerification CHSecsVerifier::verifyControl() {
  const auto type = static_cast<SType>(message.header.sType());
  if (type == SType::SelectReq || type == SType::DeselectReq || type == SType::LinktestReq) {
    MakeReplyIds(partner_->message, message.header);
    partner_->message.header.setSType(static_cast<SType>(message.header.sType() + 1));
    partner_->replyValid = true;
  }
  return VerificationCorrect;
}

CHSecsVerifier::HeaderVerdict CHSecsVerifier::judgeHeader() const {
  const CHSecsHeader &header = message.header;
  const uint8_t stream = header.stream();
  const uint8_t function = header.function();
  if (stream != 0 && function != 0 &&
      (stream >= kFirstUserDefined || function >= kFirstUserDefined))
    return {VerificationUserDefined};
  if (function == 0) {
    const bool empty = !message.root.hasData() && !message.root.decodeError();
    if (header.wbit() || !empty)
      return {VerificationIncorrect, "an abort carries neither W-bit nor body"};
    return {VerificationCorrect};
  }
  if (function % 2 == 0 && header.wbit())
    return {VerificationIncorrect, "a reply carries no W-bit"};
  if (!isKnownStream(stream))
    return {VerificationUnrecognizedStream, "the standard has no such stream"};
  const MessageRow *row = findMessage(stream, function);
  if (row == nullptr || row->of(edition).body == nullptr)
    return {VerificationUnrecognizedFunction, "this edition has no such function"};
  return judgeKnown(*row);
}

CHSecsVerifier::HeaderVerdict CHSecsVerifier::judgeKnown(const MessageRow &row) const {
  const MessageRule &rule = row.of(edition);
  const bool wbit = message.header.wbit();
  if (rule.wbit == WBit::Required && !wbit)
    return {VerificationNoWBit, "the W-bit is missing"};
  if (rule.wbit == WBit::Forbidden && wbit)
    return {VerificationWBit, "no W-bit is allowed"};
  if (rule.side != Side::Both && (rule.side == Side::Equipment) != isEquipmentSide)
    return {VerificationWrongDirection,
            isEquipmentSide ? "goes to a host only" : "goes to an equipment only"};
  return {VerificationCorrect, "", &row};
}

void CHSecsVerifier::answerUserDefined() {
  const CHSecsHeader &header = message.header;
  CHSecsMessage &reply = partner_->message;
  if (isEquipmentSide) {
    complain(header.stream() >= kFirstUserDefined ? kUnrecognizedStream : kUnrecognizedFunction);
  } else {
    MakeReplyIds(reply, header);
    reply.header.setStream(header.stream());
    reply.header.functionByte = static_cast<uint8_t>(header.function() + 1);
  }
}

VeltoSecsIIVerification CHSecsVerifier::check(const MessageRow &row) {
  if (!parsed(row, isEquipmentSide, edition).structure.matches(message.root, message.node) ||
      isMalformed(message.root)) {
    const ReplyArguments &refusal = row.of(edition).refusal;
    if (refusal[0].empty())
      return VerificationIncorrect;
    refuse(row);
    return VerificationIncorrectAndReply;
  }
  if (message.header.wbit())
    propose(row);
  return VerificationCorrect;
}

// The early edition proposes to both sides what an equipment answers.
void CHSecsVerifier::propose(const MessageRow &row) {
  const bool answersAsEquipment =
      edition == E5Edition::Current ? isEquipmentSide : partner_->isEquipmentSide;
  const ParsedRow &known = parsed(row, answersAsEquipment, edition);
  if (!known.hasProposal)
    return;
  CHSecsMessage &reply = partner_->message;
  const bool hsms = reply.header.hsms;
  reply.header = known.proposal.header;
  reply.header.hsms = hsms;
  reply.root = (row.of(edition).echoes ? message : known.proposal).root.clone();
  MakeReplyIds(reply, message.header);
}

void CHSecsVerifier::refuse(const MessageRow &row) {
  const CHSecsHeader &header = message.header;
  if (MakeReply(partner_->message, header.stream(), static_cast<uint8_t>(header.function() + 1),
                partner_->isEquipmentSide, row.of(edition).refusal, edition))
    MakeReplyIds(partner_->message, header);
}

void CHSecsVerifier::applyReplyPolicy() {
  const CHSecsHeader &header = message.header;
  CHSecsMessage &reply = partner_->message;
  switch (result) {
  case VerificationCorrect:
  case VerificationUserDefined:
  case VerificationIncorrectAndReply:
    partner_->replyValid = expectsReply(header);
    if (partner_->replyValid)
      MakeReplyIds(reply, header);
    return;
  default:
    break;
  }
  partner_->replyValid = true;
  if (!isEquipmentSide)
    MakeAbort(reply, header);
  else
    complain(result == VerificationUnrecognizedStream     ? kUnrecognizedStream
             : result == VerificationUnrecognizedFunction ? kUnrecognizedFunction
                                                          : kIllegalData);
}

// A complaint about a primary goes the way that the primary came; it is no reply to it.
void CHSecsVerifier::complain(uint8_t function) {
  CHSecsMessage &complaint = partner_->message;
  MakeStream9(complaint, function, &message.header);
  if (message.header.function() % 2 == 1)
    complaint.header.idWord = message.header.idWord;
}

bool CHSecsVerifier::MatchTemplate(std::string_view templateText) {
  CHSecsMessage parsed;
  return parsed.SetFromSml(templateText) &&
         Structure::ofTemplate(parsed.root, edition).matches(message.root, message.node);
}

} // namespace velto

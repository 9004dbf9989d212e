#include "secs2/verifier.h"

#include "secs2/item_codec.h"
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
  ParsedRow(const MessageRow &row, bool equipmentSide) {
    const char *body = !equipmentSide && row.hostBody != nullptr ? row.hostBody : row.body;
    structure = Structure::parse(body == nullptr ? "!" : body).value_or(Structure());
    hasProposal = row.wbit == WBit::Required &&
                  MakeReply(proposal, row.stream, static_cast<uint8_t>(row.function + 1),
                            equipmentSide, row.proposal);
  }

  Structure structure;
  CHSecsMessage proposal; ///< the reply that is proposed to the message
  bool hasProposal;
};

// The message table, parsed once.
class ParsedTable {
public:
  ParsedTable() {
    rows_.reserve(2 * messageTable().size());
    for (const MessageRow &row : messageTable())
      for (const bool equipmentSide : {false, true})
        rows_.emplace_back(row, equipmentSide);
  }
  const ParsedRow &of(const MessageRow &row, bool equipmentSide) const {
    return rows_[2 * static_cast<size_t>(&row - messageTable().data()) + (equipmentSide ? 1 : 0)];
  }

private:
  std::vector<ParsedRow> rows_;
};

const ParsedRow &parsed(const MessageRow &row, bool equipmentSide) {
  static const ParsedTable table;
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
  if (hsmsMode && message.header.sType() != 0) {
    result = verifyControl();
  } else {
    message.node.clear();
    result = classify();
    applyReplyPolicy();
  }
  return result;
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

VeltoSecsIIVerification CHSecsVerifier::classify() {
  const CHSecsHeader &header = message.header;
  const uint8_t stream = header.stream();
  const uint8_t function = header.function();
  if (stream != 0 && function != 0 &&
      (stream >= kFirstUserDefined || function >= kFirstUserDefined))
    return userDefined();
  if (function == 0) {
    const bool empty = !message.root.hasData() && !message.root.decodeError();
    return header.wbit() || !empty ? VerificationIncorrect : VerificationCorrect;
  }
  if (function % 2 == 0 && header.wbit())
    return VerificationIncorrect;
  if (!isKnownStream(stream))
    return VerificationUnrecognizedStream;
  const MessageRow *row = findMessage(stream, function);
  return row == nullptr || row->body == nullptr ? VerificationUnrecognizedFunction : check(*row);
}

VeltoSecsIIVerification CHSecsVerifier::userDefined() {
  const CHSecsHeader &header = message.header;
  CHSecsMessage &reply = partner_->message;
  if (isEquipmentSide) {
    MakeStream9(reply,
                header.stream() >= kFirstUserDefined ? kUnrecognizedStream : kUnrecognizedFunction,
                &header);
  } else {
    MakeReplyIds(reply, header);
    reply.header.setStream(header.stream());
    reply.header.functionByte = static_cast<uint8_t>(header.function() + 1);
  }
  return VerificationUserDefined;
}

VeltoSecsIIVerification CHSecsVerifier::check(const MessageRow &row) {
  const bool wbit = message.header.wbit();
  if (row.wbit == WBit::Required && !wbit)
    return VerificationNoWBit;
  if (row.wbit == WBit::Forbidden && wbit)
    return VerificationWBit;
  if (row.side != Side::Both && (row.side == Side::Equipment) != isEquipmentSide)
    return VerificationWrongDirection;
  if (!parsed(row, isEquipmentSide).structure.matches(message.root, message.node) ||
      isMalformed(message.root)) {
    if (row.refusal[0].empty())
      return VerificationIncorrect;
    refuse(row.refusal);
    return VerificationIncorrectAndReply;
  }
  if (row.wbit == WBit::Required)
    propose(row);
  return VerificationCorrect;
}

void CHSecsVerifier::propose(const MessageRow &row) {
  const ParsedRow &known = parsed(row, partner_->isEquipmentSide);
  if (!known.hasProposal)
    return;
  CHSecsMessage &reply = partner_->message;
  const bool hsms = reply.header.hsms;
  reply.header = known.proposal.header;
  reply.header.hsms = hsms;
  reply.root = known.proposal.root.clone();
  MakeReplyIds(reply, message.header);
}

void CHSecsVerifier::refuse(const ReplyArguments &arguments) {
  const CHSecsHeader &header = message.header;
  if (MakeReply(partner_->message, header.stream(), static_cast<uint8_t>(header.function() + 1),
                partner_->isEquipmentSide, arguments))
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
    MakeStream9(reply,
                result == VerificationUnrecognizedStream     ? kUnrecognizedStream
                : result == VerificationUnrecognizedFunction ? kUnrecognizedFunction
                                                             : kIllegalData,
                &header);
}

bool CHSecsVerifier::MatchTemplate(std::string_view templateText) {
  CHSecsMessage parsed;
  return parsed.SetFromSml(templateText) &&
         Structure::ofTemplate(parsed.root).matches(message.root, message.node);
}

} // namespace velto

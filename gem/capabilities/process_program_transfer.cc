// The way of a process program to the partner and from it, a message after the other.

#include "gem/capabilities/process_programs.h"

#include "gem/messages/stream7.h"

#include <utility>

namespace velto {

bool CHGemProcessPrograms::Send(const std::string &ppid) {
  return recipeStore().holds(ppid) && start(ppid, stream7::Inquire);
}

bool CHGemProcessPrograms::Request(const std::string &ppid) {
  return start(ppid, stream7::RequestBody);
}

bool CHGemProcessPrograms::start(const std::string &ppid, uint8_t function) {
  if (transfer_ || !CHGemRecipeStore::isName(ppid))
    return false;
  transfer_ = Transfer{++transfers_, ppid, function, std::nullopt, false};
  return sendNext();
}

// The body of the primary that comes next; nothing when the process program has gone.
std::optional<CHSecsItem> CHGemProcessPrograms::transferBody() const {
  CHSecsItem name = textItem(transfer_->ppid);
  if (transfer_->function == stream7::RequestBody ||
      transfer_->function == stream7::RequestFormatted)
    return name;
  auto body = recipeStore().find(transfer_->ppid);
  if (!body)
    return std::nullopt;
  if (transfer_->function != stream7::Inquire)
    return stream7::sentBody(transfer_->ppid, std::move(*body));
  return listItem(std::move(name), numberItem(stream7::lengthOf(*body)));
}

// The application may pump the loop when it hears of the message, and the answer come before its
// system bytes are known here.
bool CHGemProcessPrograms::sendNext() {
  transfer_->due = false;
  const uint32_t number = transfer_->number;
  const uint8_t function = transfer_->function;
  auto body = transferBody();
  CHSecsMessage message;
  bool sent = false;
  if (body) {
    message.header.Reset(stream7::kStream, function);
    message.header.setWbit(true);
    message.root = std::move(*body);
    sent = owner().Send(message);
  }
  const bool ours = transfer_ && transfer_->number == number && transfer_->function == function;
  if (ours && sent)
    transfer_->systemBytes = message.header.systemBytes;
  else if (ours && (function == stream7::Inquire || function == stream7::RequestBody))
    transfer_.reset(); // it has never begun
  else if (ours)
    end(number, body ? OtherError : NotFound);
  return sent;
}

bool CHGemProcessPrograms::takeReply(const CHSecsVerifier &slot) {
  const CHSecsHeader &header = slot.message.header;
  const bool ours = transfer_ && !transfer_->due && owner().answersRequest() &&
                    transfer_->systemBytes.value_or(header.systemBytes) == header.systemBytes;
  if (!ours)
    return false;
  const CHSecsItem &reply = slot.message.root;
  const uint32_t number = transfer_->number;
  const uint8_t function = transfer_->function;
  if (slot.result != VerificationCorrect || header.function() != function + 1) {
    end(number, OtherError);
    return true;
  }
  switch (function) {
  case stream7::Inquire: {
    const uint8_t grant = stream7::acknowledgeOf(reply, OtherError);
    if (grant == Granted || grant == AlreadyHave)
      goOn(stream7::SendBody);
    else
      end(number, grant == NoSpace ? LengthError : NotPermitted);
    return true;
  }
  case stream7::RequestBody:
    if (reply.count() == 0) {
      goOn(stream7::RequestFormatted);
      return true;
    }
    [[fallthrough]];
  case stream7::RequestFormatted:
    end(number, takeRequested(reply));
    return true;
  default:
    end(number, stream7::acknowledgeOf(reply, OtherError));
    return true;
  }
}

// Further primaries go out behind the one that is being handled.
void CHGemProcessPrograms::goOn(uint8_t function) {
  const auto body =
      function == stream7::SendBody ? recipeStore().find(transfer_->ppid) : std::nullopt;
  transfer_->function = body && body->isList() ? uint8_t{stream7::SendFormatted} : function;
  transfer_->systemBytes.reset();
  transfer_->due = true;
}

uint8_t CHGemProcessPrograms::takeRequested(const CHSecsItem &reply) {
  const std::string ppid = transfer_->ppid;
  if (reply.count() == 0)
    return NotFound;
  if (stream7::programName(childOf(reply, 1)) != ppid)
    return OtherError;
  std::string faults;
  return take(ppid, stream7::keptBody(reply), faults);
}

// One that has ended meanwhile is no matter.
void CHGemProcessPrograms::end(uint32_t number, uint8_t answer) {
  if (!transfer_ || transfer_->number != number)
    return;
  const std::string ppid = transfer_->ppid;
  transfer_.reset();
  ask(Ended, ppid, answer);
}

void CHGemProcessPrograms::endUnanswered(const CHSecsHeader &primary) {
  if (transfer_ && !transfer_->due && transfer_->systemBytes == primary.systemBytes)
    end(transfer_->number, OtherError);
}

void CHGemProcessPrograms::OnRejected(const CHSecsHeader &primary) { endUnanswered(primary); }

void CHGemProcessPrograms::OnProblem(LinkProblem problem, const CHSecsHeader &header) {
  if (problem == LinkProblem::T3 || problem == LinkProblem::SendFailed)
    endUnanswered(header);
}

} // namespace velto

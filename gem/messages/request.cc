#include "gem/messages/request.h"

#include "gem/data/model_data.h"
#include "gem/messages/items.h"
#include "gem/messages/reply.h"
#include "gem/models/model.h"

#include <algorithm>
#include <utility>

namespace velto {

namespace {

constexpr uint8_t kAccepted = 0; // the acknowledge code of any change that is made

// Only the reply's body is made anew; the header that it answers with stays. A body that no message
// can carry is put there all the same: the dispatch aborts the transaction.
bool answerQuestion(const GemRequest &request, const GemRequestScope &scope, CHSecsVerifier &slot) {
  std::optional<CHSecsItem> body = request.body(scope.data, slot.message.root);
  const bool answered = body && fitsMessage(*body);
  slot.partner()->message.root = body ? std::move(*body) : listItem();
  if (answered && request.takesDataId && slot.partner()->replyValid)
    ++scope.data.nextDataId;
  return answered;
}

bool change(const GemRequest &request, const GemRequestScope &scope, CHSecsVerifier &slot) {
  const uint8_t acknowledge = request.check(scope.data, slot.message.root);
  const bool accepted = acknowledge == kAccepted;
  if (!accepted || !request.keepsReply)
    rebuildReply(slot, {std::to_string(acknowledge)});
  if (!accepted)
    return false;
  scope.model.setModified(); // before the host hears of anything and may load another model
  request.apply(scope, slot.message.root);
  return true;
}

} // namespace

bool handleRequest(std::span<const GemRequest> requests, const GemRequestScope &scope,
                   CHSecsVerifier &slot) {
  if (slot.result != VerificationCorrect)
    return false;
  const CHSecsHeader &header = slot.message.header;
  const auto request = std::ranges::find_if(requests, [&header](const GemRequest &row) {
    return row.stream == header.stream() && row.function == header.function();
  });
  if (request == requests.end())
    return false;
  if (request->body != nullptr)
    return answerQuestion(*request, scope, slot);
  if (request->check != nullptr)
    return change(*request, scope, slot);
  if (request->answer != nullptr)
    rebuildReply(slot, {request->answer(scope, slot.message.root)});
  else
    request->apply(scope, slot.message.root);
  return true;
}

} // namespace velto

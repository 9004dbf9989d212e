#pragma once

#include "secs2/verifier.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace velto {

class GemModel;
class GemModelOwner;
struct GemData;

/// What a request works on. Changes that are to be saved are noted at the model.
struct GemRequestScope {
  GemData &data;
  GemModelOwner &owner;
  GemModel &model;
};

/// What a model does with one message of the partner: a row of its table. A row is a question
/// (`body`), a change (`check`, and `apply` once all of it may be made), a service that is done at
/// once (`answer`), or a statement that is taken without a reply (`apply` alone).
struct GemRequest {
  uint8_t stream;
  uint8_t function;
  /// The acknowledge code of a change; 0 when all of it may be made.
  uint8_t (*check)(const GemData &data, const CHSecsItem &body) = nullptr;
  void (*apply)(const GemRequestScope &scope, const CHSecsItem &body) = nullptr;
  /// The body of the answer; nothing when there is none. One that no message can carry may be cut
  /// behind what makes it so.
  std::optional<CHSecsItem> (*body)(const GemData &data, const CHSecsItem &request) = nullptr;
  /// The argument of the standard's reply.
  std::string (*answer)(const GemRequestScope &scope, const CHSecsItem &body) = nullptr;
  bool keepsReply = false;  ///< a change: the reply that was prepared stays when it is made
  bool takesDataId = false; ///< a question: its answer carries a DATAID, which is then used up
};

/// Carries out the message in the slot by the row for it, when there is one and the message is
/// correct, and puts the reply into the slot's partner. True when a change was made, a question
/// answered, or anything else taken. A request that is refused changes nothing.
bool handleRequest(std::span<const GemRequest> requests, const GemRequestScope &scope,
                   CHSecsVerifier &slot);

} // namespace velto

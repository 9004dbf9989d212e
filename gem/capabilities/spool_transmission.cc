// The way of what is spooled to the host, a message after the other.

#include "gem/capabilities/spool.h"

#include "secs2/transaction.h"

namespace velto {

bool CHGemSpool::mayTransmit() const {
  return left_ && !outstanding_ && file_.count() > 0 && isCommunicating() &&
         isOnline(owner().controlState());
}

// The host application hears of the message before Send() returns, and the reply may come, or the
// transmission be interrupted, meanwhile.
void CHGemSpool::transmit() {
  CHSecsMessage message = file_.firstMessage();
  outstanding_ = Outstanding{file_.firstNumber(), message.header};
  refusedAt_.reset();
  const uint32_t sending = ++sendings_;
  passes_ = true;
  const bool sent = owner().Send(message);
  passes_ = false;
  if (!outstanding_ || sending != sendings_)
    return;
  if (!sent) {
    outstanding_.reset();
    refusedAt_ = owner().clock().ticks();
    return;
  }
  outstanding_->header = message.header;
  outstanding_->isOut = true;
  acknowledgeAnswered();
}

// Communications may be established by a message and be lost before the next tick. The next message
// of the spool goes out at once: what came was a reply, which asks for none itself.
void CHGemSpool::OnReceived() {
  wasCommunicating_ = wasCommunicating_ || isCommunicating();
  if (acknowledgeAnswered() && mayTransmit())
    transmit();
}

// Whatever answers a message, it has arrived; an abort has ended the transmission before. It may
// have made room for another one meanwhile.
bool CHGemSpool::acknowledgeAnswered() {
  if (!outstanding_ || !outstanding_->isOut || !isCommunicating() ||
      (awaitsReply(outstanding_->header) &&
       owner().awaitsAnswerTo(outstanding_->header.systemBytes)))
    return false;
  const uint32_t number = outstanding_->number;
  outstanding_.reset();
  full_ = false;
  if (file_.count() > 0 && file_.firstNumber() == number)
    file_.removeFirst();
  if (left_ && --*left_ == 0)
    left_.reset();
  if (file_.count() == 0)
    end();
  else
    tell();
  return true;
}

bool CHGemSpool::isOutstanding(const CHSecsHeader &primary) const {
  return outstanding_ && outstanding_->header.stream() == primary.stream() &&
         outstanding_->header.function() == primary.function() &&
         (!outstanding_->isOut || outstanding_->header.systemBytes == primary.systemBytes);
}

} // namespace velto

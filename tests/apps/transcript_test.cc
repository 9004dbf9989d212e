// A fixed session of a host with the example tool, and what it must look like: a change of any
// answer shows here. session.sml holds the host's messages, session.txt the conversation.
#include "gem/model_text/model_text.h"
#include "gem/station.h"
#include "secs2/sml_lexer.h"

namespace velto {
namespace {

std::string file(const std::string &path) {
  return systemFiles().read(std::string(VELTO_SOURCE_DIR "/") + path).value_or("");
}

// The texts in front of the periods.
std::vector<std::string> messages(const std::string &text) {
  std::vector<std::string> found;
  CHSmlLex lexer(text);
  size_t start = 0;
  for (SmlToken token = lexer.next(); token.kind != SmlToken::Kind::End; token = lexer.next()) {
    const auto at = static_cast<size_t>(token.text.data() - text.data());
    if (token.kind != SmlToken::Kind::Period || at >= text.size())
      continue;
    found.push_back(text.substr(start, at - start));
    start = at + 1;
  }
  return found;
}

class Transcript : public GemPair {
protected:
  void SetUp() override {
    ModelTextError error;
    auto model = modelFromText(file("examples/etch_tool.model"), error);
    ASSERT_TRUE(model) << error.reason;
    equipment.engine->gem()->data() = std::move(*model);
    equipment.engine->gem()->data().communication.establishCommunications = false;
    host.engine->gem()->data().communication.establishCommunications = false;
    GemPair::SetUp();
    host.engine->OpenConnection();
    run();
    host.engine->SetCommunicationState(CommunicationState::NotCommunicating);
  }

  /// Sends a message as it is, past the gate of the host's states, and gives the conversation that
  /// follows.
  std::string exchange(const std::string &sml) {
    CHSecsMessage message;
    EXPECT_TRUE(message.SetFromSml(sml)) << sml;
    message.header.idWord = 0;
    std::string text = "host: " + RenderSml(message);
    host.onNote = [&](const std::string &line) {
      if (line.starts_with("received "))
        text += "equipment: " + masked(host.engine->gem()->slot(CHGem::kReceived).message);
    };
    host.engine->gem()->SendUngated(message);
    run(3);
    return text + '\n';
  }

private:
  // Stream 9 messages hold system bytes, which depend on what was said before.
  static std::string masked(CHSecsMessage &message) {
    if (message.header.stream() == 9 && message.root.count() == CHSecsHeader::kSize) {
      CHSecsItem head;
      const Bytes zero(4);
      head.makeArray(format::kBinary, 0);
      head.appendBytes(message.root.bytes().data(), 6);
      head.appendBytes(zero.data(), zero.size());
      message.root = std::move(head);
    }
    return RenderSml(message);
  }
};

TEST_F(Transcript, TheSessionWithTheExampleToolIsTheStoredOne) {
  std::string conversation;
  const std::vector<std::string> session = messages(file("tests/apps/session.sml"));
  ASSERT_EQ(session.size(), 200U);
  for (const std::string &message : session)
    conversation += exchange(message);
  std::erase(conversation, '\r');
  const std::string stored = file("tests/apps/session.txt");
  if (conversation != stored)
    systemFiles().write(VELTO_BINARY_DIR "/session.txt", conversation);
  EXPECT_EQ(conversation, stored) << "what was said is in " VELTO_BINARY_DIR "/session.txt";
}

} // namespace
} // namespace velto

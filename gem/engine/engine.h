#pragma once

#include "gem/engine/event_sink.h"
#include "gem/engine/gem.h"
#include "gem/engine/physical_connection.h"
#include "gem/messages/dispatch.h"
#include "platform/file.h"
#include "transport/link/ticker.h"
#include "transport/log/link_log.h"

#include <memory>
#include <optional>
#include <string>

namespace velto {

/// The engine of the Gem control: the link, the logical connection or equipment model, the
/// settings, and the way of every message between them. Nothing is answered while the host is told
/// of a message; the host calls DefProc(), or sends a reply of its own.
///
/// Owned through a Handle; ticks by itself.
class CHGemEngine final : public std::enable_shared_from_this<CHGemEngine>,
                          private Ticker::Client,
                          private MessageLinkOwner,
                          private LogicalConnectionOwner {
public:
  explicit CHGemEngine(EventLoop &loop, FileSystem &files = systemFiles(),
                       const SerialPorts &ports = systemPorts());
  ~CHGemEngine() override;
  CHGemEngine(const CHGemEngine &) = delete;
  CHGemEngine &operator=(const CHGemEngine &) = delete;

  void SetSink(CHGemEventSink *sink) { sink_ = sink; }
  /// The owner gives the engine up: it closes and never reports again.
  void End();

  /// Settings or data were changed that the next tick may depend on. (Its own calls need no such
  /// word.)
  void changed() { physical_.settingsChanged(); }

  /// Log settings; section "Log".
  bool logEnabled = false;
  std::string logFileName = "./kel";
  int32_t logSize = 1024; ///< KiB
  int32_t logBackups = 1;
  bool logCommunication = true; ///< the log holds the messages, not only connections and problems
  /// Appends a stamped text to the communication log; false when the log is off.
  bool WriteLog(const std::string &text);

  CHPhysicalConnection &physical() { return physical_; }
  const CHPhysicalConnection &physical() const { return physical_; }
  /// The logical connection; a CHGem when the equipment model is on.
  CHLogicalConnection &logical() const { return *logical_; }
  /// The equipment model; null when it is off.
  CHGem *gem() const { return gem_; }

  /// Switches the equipment model on or off: a fresh one, with the data file "./kel.kel".
  void SetObjectModel(bool on);
  const std::string &IniFileName() const { return iniFileName_; }
  /// An empty name changes nothing.
  void SetIniFileName(const std::string &name);
  /// Reads the settings; requests an open when the file asks for it. When the object model setting
  /// has changed, the logical connection is replaced.
  void LoadIniFile();
  bool SaveIniFile();
  /// Loads the model; the communication state follows its initial state when the link is selected.
  bool LoadData(const std::string &fileName);
  /// The same of the model alone, and of one that is not in a file.
  bool LoadModel(const std::string &fileName);
  bool SetModel(GemData model);

  void OpenConnection() { physical_.RequestOpen(); }
  void CloseConnection();

  /// While a reply time-out (T3) is reported: the header of the primary that got no reply.
  const std::optional<CHSecsHeader> &unanswered() const { return unanswered_; }

  uint8_t GetControlState() const;
  bool SetControlState(uint8_t state);
  void SetOnlineSwitch(bool on);
  uint8_t GetCommunicationState() const;
  bool SetCommunicationState(uint8_t state);

  /// Handles the received message by the model and sends the prepared reply; false without a model.
  bool DefProc();
  /// The received message with what is known of it, to put it back into its slot; only with a
  /// model.
  using Received = CHGemDispatch::Received;
  Received received() { return dispatch_.keep(*gem_); }
  void putBack(const Received &message) {
    if (gem_ != nullptr)
      dispatch_.putBack(*gem_, message);
  }
  /// Sends through the gate of the model's states; false with a plain connection.
  bool Send(CHSecsMessage &message);
  /// Sends a message as it stands, header and body, past the model and its gate: a Separate.req,
  /// for example.
  bool SendEncoded(ByteView headerAndBody);
  /// Sends S6F11 or S5F1; false without a model, and unless communicating and on-line.
  bool InvokeEvent(uint32_t ceid);
  bool InvokeAlarm(uint32_t alid, uint8_t alcd);
  /// Tells the host of a failure of its own doing, and the log.
  void reportFailure(const std::string &reason) override { reportFailure(0, reason); }
  /// Does something with the model that may report, while it is kept alive; false without a model.
  template <typename Work> bool during(Work work) {
    const Hold held(*this);
    const bool done = gem_ != nullptr && work();
    ticker_.arm();
    return done;
  }
  /// The value of a variable was changed here.
  void variableChanged(uint32_t vid);

  /// One tick, which comes by itself.
  void Tick();
  /// Milliseconds until Tick() has something to do; nothing: never.
  std::optional<uint32_t> NextTick() const;

  /// The status tree: work space 0 the link's branch, 1 the model's, 2 "Entire System" with both.
  TreeView status(int workSpace) const;

private:
  // Whoever is at work in the engine keeps it there, and the logical connection that it found, so
  // that a report may end the one and replace the other.
  struct Hold {
    explicit Hold(CHGemEngine &at) : engine(at.shared_from_this()), logical(at.logical_) {}
    std::shared_ptr<CHGemEngine> engine;
    std::shared_ptr<CHLogicalConnection> logical;
  };

  // Ticker::Client
  std::shared_ptr<void> hold() override { return shared_from_this(); }
  void tick() override { Tick(); }
  std::optional<uint32_t> nextTick() const override { return NextTick(); }
  // MessageLinkOwner
  void OnConnected(const std::string &ipAddress, int32_t portNumber) override;
  void OnDisconnected(const std::string &ipAddress, int32_t portNumber) override;
  void OnReceived(const std::string &ipAddress, int32_t portNumber, ByteView message,
                  bool refused) override;
  void OnSent(const std::string &ipAddress, int32_t portNumber, const CHSecsHeader &header,
              ByteView body) override;
  void OnProblem(const std::string &ipAddress, int32_t portNumber, const Problem &problem,
                 ByteView data) override;
  bool awaitsReply() const override { return logical_->OpenTransactionCount() != 0; }
  void OnRejected(uint32_t systemBytes) override;
  void OnStateChanged(LinkState next, LinkState previous) override;
  void OnTransmitted(uint32_t systemBytes) override;
  void OnSendFailed(const CHSecsHeader &header, ByteView body) override;
  // LogicalConnectionOwner
  bool transmit(CHSecsMessage &message) override;
  bool transmit(CHSecsMessage &&message) override;
  bool hasPartner() const override { return physical_.HasPartner(); }
  bool sendsLater() const override { return physical_.link().sendsLater(); }
  bool replyArrives(const CHSecsHeader &primary) const override {
    return physical_.link().replyArrives(primary);
  }
  size_t longestBody() const override { return physical_.link().longestBody(); }
  std::optional<size_t> blockData() const override { return physical_.link().blockData(); }
  bool sendHeld(const CHSecsHeader &header, ByteView body) override {
    return physical_.SendCompleted(header, body);
  }
  void failHeld(const CHSecsHeader &header, ByteView body) override { OnSendFailed(header, body); }
  void refuseHeld(const CHSecsHeader &header) override;
  void reportReplyTimeout(const CHSecsHeader &primary) override;
  void reportCommunicationState(uint8_t next, uint8_t previous) override;
  void reportControlState(uint8_t next, uint8_t previous) override;
  void reportVariable(uint32_t vid) override;
  void reportSaveFailure(int systemError) override;
  Clock &clock() const override { return loop_.clock(); }
  FileSystem &files() const override { return files_; }

  // The application, if there is one, which may look at any message from now on.
  CHGemEventSink *application() override {
    dispatch_.showMessage();
    return sink_;
  }
  template <typename Load> bool loading(Load load);
  LogSettings logSettings() const;
  LinkLog record() const;
  bool logsMessages() const { return logEnabled && logCommunication; }
  void reportConnection(const std::string &ipAddress, int32_t portNumber, bool connected);
  void reportProblem(const Problem &problem);
  std::optional<CHSecsHeader> sendOverLink(ByteView headerAndBody);
  void reportFailure(int16_t number, const std::string &reason);
  void endLinkThatLostAReply();
  void reportSent(const CHSecsHeader &header, Bytes &&message, CHSecsItem *root = nullptr);
  void linkReady();
  void endFailedAttempt();
  void noticeLostLink();

  EventLoop &loop_;
  FileSystem &files_;
  CHGemEventSink *sink_ = nullptr;
  bool ended_ = false;
  bool replyLost_ = false; // the reply to the present partner could not be sent
  std::optional<CHSecsHeader> unanswered_;
  SettingList settings_;
  bool enableCommunication_ = true;
  bool objectModel_ = true;
  std::string iniFileName_ = "./kel.ini";
  Ticker ticker_;
  CHPhysicalConnection physical_;
  std::shared_ptr<CHLogicalConnection> logical_;
  CHGem *gem_ = nullptr;
  CHGemDispatch dispatch_;
};

} // namespace velto

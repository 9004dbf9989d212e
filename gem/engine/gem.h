#pragma once

#include "gem/capabilities/capability.h"
#include "gem/data/model_data.h"
#include "gem/engine/logical_connection.h"
#include "gem/messages/send_stage.h"
#include "gem/models/alarm_model.h"
#include "gem/models/communication_model.h"
#include "gem/models/control_model.h"
#include "gem/models/event_model.h"
#include "gem/models/processing_model.h"
#include "secs2/sml_printer.h"

#include <array>
#include <memory>
#include <span>
#include <vector>

namespace velto {

class GemCapabilities;

/// The equipment model (SEMI E30): the models in their order, the message slots, the stages that
/// decide what is sent in each state, and the data file.
class CHGem final : public CHLogicalConnection,
                    private GemModelOwner,
                    private GemCapabilityOwner,
                    public SmlContext {
public:
  /// The message slots.
  static constexpr size_t kReceived = 0;
  static constexpr size_t kSent = 1;
  static constexpr size_t kWork = 2;
  static constexpr size_t kSlots = 3;

  CHGem(LogicalConnectionOwner &owner, std::string iniFileName);

  CHSecsVerifier &slot(size_t index) {
    if (index == kSent)
      readSent();
    return slots_[index];
  }
  /// The header of what was sent last.
  const CHSecsHeader &sentHeader() const { return slots_[kSent].message.header; }
  /// The bytes of what was sent last, until someone looks at its slot; empty then. Who shows only
  /// the beginning of a long message need not decode all of it.
  ByteView sentBytes() const { return sent_; }
  /// Puts what was sent, header and body, into its slot. The body is decoded when someone looks at
  /// it, for it may be long.
  void setSent(const CHSecsHeader &header, Bytes &&message);
  /// The same with the body that is there.
  void setSent(const CHSecsHeader &header, CHSecsItem &&root);
  GemData &data() { return data_; }
  const GemData &data() const { return data_; }
  CHGemCommunicationModel &communication() { return *communication_; }
  CHGemControlModel &control() { return *control_; }
  CHGemProcessingModel &processing() { return *processing_; }
  CHGemEventModel &events() { return *events_; }
  CHGemAlarmModel &alarms() { return *alarms_; }
  /// What can be switched on beside the models.
  GemCapabilities &capabilities() { return *capabilities_; }
  const GemCapabilities &capabilities() const { return *capabilities_; }

  /// Also marks the slots as those of an equipment or a host.
  void SetHost(bool host) override;
  void SetEdition(E5Edition edition) override;

  /// Through the stages: what may go out depends on the communication and the control state.
  bool Send(CHSecsMessage &message) override;
  bool Send(CHSecsMessage &&message) override;
  bool OnReceive(CHSecsVerifier &slot) override;
  void OnSent(const CHSecsHeader &header, ByteView body) override;
  void Tick() override;
  std::optional<uint32_t> NextTick() const override;
  void OnLinkReady() override;
  void OnLinkLost() override;
  /// This side has closed the link, or gives the model up; OnLinkLost() follows on the next tick,
  /// if there is one.
  void OnClosed();
  void OnRejected(const CHSecsHeader &primary) override;
  void OnSendFailed(const CHSecsMessage &message) override;
  bool mustHold(const CHSecsHeader &header, size_t bodySize) override;
  bool hold(const CHSecsHeader &header, ByteView body) override;
  void OnProblem(LinkProblem problem, const CHSecsHeader &header) override;
  void addStatus(TreeNode &parent) const override;

  /// The value of a variable was changed, by whomever.
  void variableChanged(uint32_t vid) override;
  void variableRemoved(uint32_t vid) override;
  void beforeReading(const CHGemEventCeid &event) override;
  /// Sends S6F11 or S5F1; false unless communicating and on-line. With the variables kept true an
  /// alarm changes its state all the same.
  bool InvokeEvent(uint32_t ceid);
  bool InvokeAlarm(uint32_t alid, uint8_t alcd);

  /// Resets the models and loads the data file. False when it cannot be read: the models stay at
  /// their defaults, the file as it is.
  bool LoadData(std::string fileName);
  /// The same without the settings; the model gets a variable for the control state.
  bool LoadModel(std::string fileName);
  /// Resets the models and takes one that no file keeps yet, likewise.
  void SetModel(GemData model);
  /// Writes the settings and the data file; false when the latter fails, the old file being whole.
  /// A file that could not be loaded is kept first, with ".damaged" behind its name.
  bool SaveData();
  /// Every model at its defaults; model name and software revision stay.
  void Reset();

  std::optional<std::string> variableName(int32_t id) const override;
  std::optional<std::string> eventName(int32_t id) const override;

private:
  // GemModelOwner; Send() serves both.
  uint8_t communicationState() const override { return communication_->State(); }
  uint8_t controlState() const override { return control_->GetState(); }
  bool awaitsAnswer(uint8_t stream, uint8_t function) const override {
    return hasOpenTransaction(stream, function);
  }
  bool awaitsAnswerTo(uint32_t systemBytes) const override {
    return hasOpenTransaction(systemBytes);
  }
  bool answersRequest() const override { return answersRequest_; }
  bool isHost() const override { return Host(); }
  E5Edition edition() const override { return Edition(); }
  Clock &clock() const override;
  void reportCommunicationState(uint8_t next, uint8_t previous) override;
  void reportControlState(uint8_t next, uint8_t previous) override;
  void reportVariable(uint32_t vid) override;
  // GemCapabilityOwner
  GemApplication &application() override;
  FileSystem &files() override;
  bool hasPartner() const override { return owner() != nullptr && owner()->hasPartner(); }
  const std::string &dataFile() const override { return DataFileName(); }
  void beforeSampling(std::span<const uint32_t> vids) override;
  void reportFailure(const std::string &reason) override;
  std::optional<size_t> blockData() const override;
  bool sendHeld(const CHSecsHeader &header, ByteView body) override;
  void failHeld(const CHSecsHeader &header, ByteView body) override;
  void refuseHeld(const CHSecsHeader &header) override;

  /// Adds a model behind those that are there.
  template <typename Model> Model *add();
  std::optional<bool> stopped(const CHSecsMessage &message) const;
  void readSent();
  bool invokes() const;
  bool handle(CHSecsVerifier &slot);
  bool savePausing() const;
  bool modified() const;
  uint32_t changes() const;
  bool writeData();
  bool writeFile(const std::string &path, std::string &damaged, const std::string &bytes);
  bool loadModelData();
  void takeModel(GemData &&model);
  void loadCompanionFile();

  GemData data_;
  std::array<CHSecsVerifier, kSlots> slots_;
  Bytes sent_; // what slot kSent is to hold, until someone looks at it
  std::vector<std::unique_ptr<GemModel>> models_; // in the order in which all reaches them
  size_t aloneCount_ = 0;                         // the first ones, which take messages alone
  std::vector<GemModel *> afterwards_;            // those that hear of what was received
  CHGemCommunicationModel *communication_ = nullptr;
  CHGemControlModel *control_ = nullptr;
  CHGemProcessingModel *processing_ = nullptr;
  CHGemEventModel *events_ = nullptr;
  CHGemAlarmModel *alarms_ = nullptr;
  GemCapabilities *capabilities_ = nullptr;           // the first of the stages
  std::vector<std::unique_ptr<GemSendStage>> stages_; // in the order in which messages pass them
  bool answersRequest_ = false;                       // the message that is being handled
  std::optional<uint32_t> saveFailedAt_;              // tick
  int saveError_ = 0;            // errno of the save that failed last; 0: none is known
  std::string damagedFile_;      // the data file that could not be loaded; empty when there is none
  std::string damagedCompanion_; // the same of its companion
};

} // namespace velto

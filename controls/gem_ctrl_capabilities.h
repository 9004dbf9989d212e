#pragma once

#include <cstdint>
#include <string>

namespace velto {

class CHGemEngine;
class CHGemProcessPrograms;
class GemCapabilities;

/// The part of `VeltoGem` that works what can be switched on beside its model. Without a model
/// there is none of it: all reads as switched off, and setting it changes nothing.
class GemCtrlCapabilities {
public:
  // The capabilities, of which none is on at first (GemCapabilityBit).
  int32_t Capabilities() const;
  void SetCapabilities(int32_t bits);
  // Inside RemoteCommand: the answer, 0 at first (SEMI E5, HCACK), the objection to a parameter,
  // 0 when there is none (CPACK), and the value of one as text; empty when it was not given.
  int16_t HCACK() const;
  void SetHCACK(int16_t answer);
  int16_t CPACK(const std::string &name) const;
  void SetCPACK(const std::string &name, int16_t fault);
  std::string CPVAL(const std::string &name) const;
  // Traces that the host may run at once (S2F23), below 0 none, and whether it is to answer their
  // data (S6F1), as it always is in the early edition; those that run now.
  int32_t MaxTraces() const;
  void SetMaxTraces(int32_t count);
  bool TraceReplies() const;
  void SetTraceReplies(bool wanted);
  int32_t ActiveTraces() const;
  // Inside TerminalText the answer, 0 at first (SEMI E5, ACKC10).
  int16_t ACKC10() const;
  void SetACKC10(int16_t answer);
  /// Texts of several lines (S10F5) are taken.
  bool MultiBlockTerminal() const;
  void SetMultiBlockTerminal(bool takes);
  // Spooling: 0 inactive, 1 active, 2 full, 3 transmitting; the messages that wait; and what there
  // is room for, in KiB (0 to 102,400) and messages (from 0 on).
  int16_t SpoolState() const;
  int32_t SpoolCount() const;
  int32_t MaxSpoolSize() const;
  void SetMaxSpoolSize(int32_t kib);
  int32_t MaxSpoolMessages() const;
  void SetMaxSpoolMessages(int32_t count);
  /// The folder of the process programs; empty: beside the data file, its name and ".recipes".
  std::string RecipeFolder() const;
  void SetRecipeFolder(const std::string &folder);
  // Inside ProcessProgram: the answer (SEMI E5, ACKC7), 0 at first, and what verification finds, a
  // line "ACKC7A SEQNUM ERRW7" each.
  int16_t ACKC7() const;
  void SetACKC7(int16_t answer);
  std::string ProcessProgramErrors() const;
  void SetProcessProgramErrors(const std::string &lines);
  /// The PPIDs of the process programs, a line each; a line end inside one reads as a blank.
  std::string ProcessPrograms() const;
  /// The body as SML: the PPBODY, or the list of S7F23; empty when there is none. One that is no
  /// such body, or cannot be kept, changes nothing.
  std::string ProcessProgramBody(const std::string &ppid) const;
  void SetProcessProgramBody(const std::string &ppid, const std::string &sml);

  /// Adds a remote command for the control state on-line remote, its parameters with their types
  /// "LOT:A,SLOT:U1", the names of those that must be given "LOT", and the event of its completion
  /// (0: none). False when there is one of that name, and for parameters that are no such text.
  bool RegisterCommand(const std::string &name, const std::string &parameters,
                       const std::string &required, int32_t ceid);
  /// The operator has read the text of a terminal: reports the event of that role. False when there
  /// is no such text, and when the event is not sent.
  bool RecognizeTerminalText();
  /// Sends S10F1, or S10F3 when this side is the host. False when it may not go out.
  bool SendTerminalText(int16_t tid, const std::string &text);
  /// Sets the variables of the processing state and reports the event of its change. False when the
  /// state is the same, or no variable has that role.
  bool SetProcessState(int32_t state);
  /// Makes a process program the one that is executed: sets its variable and reports the event.
  /// False when there is none, and when ProcessProgram was answered other than 0.
  bool SelectProcessProgram(const std::string &ppid);
  /// False when there is none.
  bool DeleteProcessProgram(const std::string &ppid);
  /// Sends a process program to the partner (S7F1, then S7F3 or S7F23), or asks it for one (S7F5,
  /// then S7F25), which is kept. ProcessProgram tells the end. False when the first message may not
  /// go out, when one is under way, and when there is none to send.
  bool SendProcessProgram(const std::string &ppid);
  bool RequestProcessProgram(const std::string &ppid);

protected:
  ~GemCtrlCapabilities() = default;

  /// The operator changed constants: the last thing to be done.
  void constantsChanged();

private:
  virtual CHGemEngine &gemEngine() const = 0;
  /// A property was set.
  virtual void capabilitySet() = 0;
  /// Saves the model when it was changed; whether it was.
  virtual bool saved(bool changed) = 0;

  /// Null without a model.
  GemCapabilities *capabilities() const;
  /// Null also while the one of that bit is off.
  GemCapabilities *capabilitiesWith(uint32_t bit) const;
  /// Does something with the process programs; false while they are off.
  template <typename Work> bool withPrograms(Work work);
};

} // namespace velto

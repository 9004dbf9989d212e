#pragma once

#include "apps/velto/script/stage.h"
#include "apps/velto/script/statement.h"
#include "apps/velto/script/text_front_end.h"

#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace velto::script {

/// Runs the commands of scripts. Results and events are printed to one stream, errors to another.
class Interpreter {
public:
  /// What an error ends: the whole run, or only the line that it is in.
  enum class OnError { End, GoOn };

  Interpreter(EventLoop &loop, FileSystem &files, std::ostream &out, std::ostream &err,
              ControlFactory factory);
  Interpreter(const Interpreter &) = delete;
  Interpreter &operator=(const Interpreter &) = delete;

  void setOnError(OnError onError) { onError_ = onError; }
  /// The front end for sheets without a queued answer; must outlive this object.
  void setOperator(FrontEnd *frontEnd) { frontEnd_.setOperator(frontEnd); }

  /// Makes a control that the program owns known to the commands; see Stage::adopt().
  void adopt(const std::string &name, Control &control) { stage_.adopt(name, control); }

  /// All controls by name, those of the program too; until a command or an event runs.
  std::vector<std::pair<std::string, Control *>> controls() const { return stage_.controls(); }

  /// Called behind a handler of which a command failed, and instead of one once the run has ended:
  /// what the event asked for was not done.
  void setHandlerFailed(std::function<void(const Member &event)> handler) {
    handlerFailed_ = std::move(handler);
  }

  /// Both return false when a command failed. The error has been printed then.
  bool runFile(const std::string &path);
  bool runLine(std::string_view line, const Location &where);

  /// Ends the run: waits return, and no further command runs.
  void quit() { end(State::Quit); }
  bool ended() const { return state_ != State::Running; }
  bool failed() const { return state_ == State::Failed; }

private:
  /// How many handlers and files may run inside each other. Without a limit an event that its own
  /// handler raises again, or a file that includes itself, would overflow the stack.
  static constexpr int kMaxDepth = 64;

  enum class State { Running, Quit, Failed };

  /// The event that a handler runs for.
  struct Frame {
    const Member &event;
    Arguments arguments;
  };
  /// The place of a command, and the event that it handles; null outside handlers.
  struct Scope {
    const Location &where;
    const Frame *frame;
  };
  /// Commands that run periodically. A turn is skipped while the commands of an earlier turn still
  /// wait.
  struct Periodic {
    Periodic(EventLoop &loop, std::function<void()> turn) : timer(loop, std::move(turn)) {}
    Timer timer;
    bool busy = false;
  };

  /// What a ramp does: moves a property from one number to another.
  struct RampPath {
    Location where;
    std::string control;
    std::string property;
    std::vector<Variant> index = {};
    double from = 0;
    double to = 0;
    uint32_t duration = 0;  ///< ms
    uint32_t startedAt = 0; ///< tick
  };
  /// A ramp that is running. At its end the timer is stopped.
  struct Ramp {
    Ramp(EventLoop &loop, RampPath way, std::function<void(Ramp &)> step)
        : path(std::move(way)), timer(loop, [this, step = std::move(step)] { step(*this); }) {}
    RampPath path;
    Timer timer;
  };

  void end(State state);
  bool fail(const Location &where, const std::string &reason);
  bool runSource(const std::string &path, std::string_view source, const Frame *frame);
  bool runText(std::string_view line, const Location &where, const Frame *frame);
  bool runBody(const Body &body, const Frame *frame);
  bool runNested(const Body &body, const Frame *frame);
  void printEvent(const std::string &control, const Member &event, Arguments arguments);
  bool pump(const std::function<bool()> &done, uint32_t milliseconds);

  // Returns a value or an error.
  Outcome evaluate(const Operand &value, const Scope &scope);
  Outcome find(const VariableRef &variable, const Scope &scope) const;
  // Like evaluate(), but a method may return no value.
  Outcome evaluateMember(const Access &access, const Scope &scope);
  std::string evaluateAll(const std::vector<Operand> &values, const Scope &scope,
                          std::vector<Variant> &results);
  bool evaluateSteps(const std::vector<AnswerStepText> &texts, const Scope &scope,
                     std::vector<AnswerStep> &steps);
  std::optional<double> number(const Operand &value, const Scope &scope);
  std::optional<uint32_t> milliseconds(const Operand &value, const Scope &scope);
  bool assign(const std::string &control, const std::string &property, const Variant &value,
              Arguments index, const Location &where);
  bool step(Ramp &ramp);
  const Member *findEvent(const EventRef &event, const Scope &scope);

  // Return false when the command failed. The error has been printed then.
  bool execute(const NewCommand &command, const Scope &scope);
  bool execute(const DeleteCommand &command, const Scope &scope);
  bool execute(const ShowCommand &command, const Scope &scope);
  bool execute(const DescribeCommand &command, const Scope &scope);
  bool execute(const EvaluateCommand &command, const Scope &scope);
  bool execute(const AssignCommand &command, const Scope &scope);
  bool execute(const LetCommand &command, const Scope &scope);
  bool execute(const OnCommand &command, const Scope &scope);
  bool execute(const OffCommand &command, const Scope &scope);
  bool execute(const EveryCommand &command, const Scope &scope);
  bool execute(const RampCommand &command, const Scope &scope);
  bool execute(const WaitTimeCommand &command, const Scope &scope);
  bool execute(const WaitEventCommand &command, const Scope &scope);
  bool execute(const WaitForeverCommand &command, const Scope &scope);
  bool execute(const ExpectCommand &command, const Scope &scope);
  bool execute(const PrintCommand &command, const Scope &scope);
  bool execute(const AnswerCommand &command, const Scope &scope);
  bool execute(const IncludeCommand &command, const Scope &scope);
  bool execute(const QuitCommand &command, const Scope &scope);

  EventLoop &loop_;
  FileSystem &files_;
  std::ostream &out_;
  std::ostream &err_;
  OnError onError_ = OnError::End;
  State state_ = State::Running;
  int depth_ = 0; ///< how many handlers and files run inside each other
  std::map<std::string, Variant> variables_;
  std::function<void(const Member &event)> handlerFailed_;
  TextFrontEnd frontEnd_;
  Stage stage_;
  std::vector<std::unique_ptr<Periodic>> periodics_;
  std::vector<std::unique_ptr<Ramp>> ramps_;
};

} // namespace velto::script

#include "apps/velto/script/interpreter.h"

#include "apps/velto/console/literal.h"
#include "apps/velto/console/member_text.h"
#include "base/text.h"

#include <cmath>
#include <limits>
#include <utility>

namespace velto::script {

namespace {

constexpr uint32_t kRampStep = 100; // ms between the values of a ramp
constexpr int32_t kLongestRamp = std::numeric_limits<int32_t>::max() / 1000; // s

std::optional<double> numberIn(const Variant &value) {
  if (!value.isNumber() && !value.isText())
    return std::nullopt;
  const auto number = value.as(ValueType::Double);
  return number ? std::optional(number->toReal()) : std::nullopt;
}

/// Compares numbers when one side is a number and the other can be read as one, else texts.
bool equal(const Variant &left, const Variant &right) {
  if (left.isInteger() && right.isInteger())
    return left == right;
  if (left.isNumber() || right.isNumber()) {
    const auto a = numberIn(left);
    const auto b = numberIn(right);
    if (a && b)
      return *a == *b;
  }
  return left.text() == right.text();
}

bool holds(const Variant &left, const std::string &comparison, const Variant &right) {
  if (comparison == "~")
    return left.text().find(right.text()) != std::string::npos;
  return equal(left, right) == (comparison == "==");
}

/// The path of an included file: a relative one starts in the folder of the file that includes it.
std::string besides(const std::string &file, const std::string &path) {
  const size_t slash = file.rfind('/');
  if (path.starts_with('/') || slash == std::string::npos)
    return path;
  return file.substr(0, slash + 1) + path;
}

} // namespace

bool Interpreter::execute(const NewCommand &command, const Scope &scope) {
  const std::string problem =
      stage_.add(command.name, command.control, ControlSite(loop_, frontEnd_, files_));
  return problem.empty() || fail(scope.where, problem);
}

bool Interpreter::execute(const DeleteCommand &command, const Scope &scope) {
  const std::string problem = stage_.remove(command.name);
  return problem.empty() || fail(scope.where, problem);
}

bool Interpreter::execute(const ShowCommand &command, const Scope &scope) {
  const Control *control = stage_.find(command.name);
  if (control == nullptr)
    return fail(scope.where, Stage::noControl(command.name));
  if (const std::string window = control->window(); !window.empty())
    printLine(out_, screenText(window));
  return true;
}

bool Interpreter::execute(const DescribeCommand &command, const Scope &scope) {
  const Control *control = stage_.find(command.name);
  if (control == nullptr)
    return fail(scope.where, Stage::noControl(command.name));
  printLine(out_, describe(control->members()));
  return true;
}

bool Interpreter::execute(const EvaluateCommand &command, const Scope &scope) {
  const Outcome outcome = evaluateMember(command.access, scope);
  if (!outcome)
    return fail(scope.where, outcome.error);
  if (!ended() && !outcome.value.empty())
    printLine(out_, "= " + toLiteral(outcome.value));
  return true;
}

bool Interpreter::execute(const AssignCommand &command, const Scope &scope) {
  std::vector<Variant> index;
  if (const std::string error = evaluateAll(command.target.arguments, scope, index); !error.empty())
    return fail(scope.where, error);
  const Outcome value = evaluate(command.value, scope);
  if (!value)
    return fail(scope.where, value.error);
  return assign(command.target.control, command.target.member, value.value, index, scope.where);
}

bool Interpreter::assign(const std::string &control, const std::string &property,
                         const Variant &value, Arguments index, const Location &where) {
  Control *target = stage_.find(control);
  if (target == nullptr)
    return fail(where, Stage::noControl(control));
  const Outcome written = target->set(property, value, index);
  return written || fail(where, written.error);
}

bool Interpreter::execute(const LetCommand &command, const Scope &scope) {
  Outcome value = evaluate(command.value, scope);
  if (!value)
    return fail(scope.where, value.error);
  variables_[command.name] = std::move(value.value);
  return true;
}

bool Interpreter::execute(const OnCommand &command, const Scope &scope) {
  const Member *event = findEvent(command.event, scope);
  if (event == nullptr)
    return false;
  stage_.addHandler(command.event.control, *event, command.body);
  return true;
}

bool Interpreter::execute(const OffCommand &command, const Scope &scope) {
  const Member *event = findEvent(command.event, scope);
  if (event == nullptr)
    return false;
  stage_.removeHandlers(command.event.control, *event);
  return true;
}

bool Interpreter::execute(const EveryCommand &command, const Scope &scope) {
  const auto period = milliseconds(command.milliseconds, scope);
  if (!period)
    return false;
  const size_t index = periodics_.size();
  periodics_.push_back(std::make_unique<Periodic>(loop_, [this, index, body = command.body] {
    Periodic &periodic = *periodics_[index];
    if (std::exchange(periodic.busy, true))
      return;
    runNested(*body, nullptr);
    periodic.busy = false;
  }));
  periodics_.back()->timer.startPeriodic(*period);
  return true;
}

// A new ramp replaces an earlier one of the same property.
bool Interpreter::execute(const RampCommand &command, const Scope &scope) {
  RampPath path{scope.where, command.target.control, command.target.member};
  if (const std::string error = evaluateAll(command.target.arguments, scope, path.index);
      !error.empty())
    return fail(scope.where, error);
  const auto from = number(command.from, scope);
  const auto to = from ? number(command.to, scope) : std::nullopt;
  const auto seconds = to ? number(command.seconds, scope) : std::nullopt;
  if (!seconds)
    return false;
  if (!(*seconds >= 0 && *seconds <= kLongestRamp))
    return fail(scope.where, Variant(*seconds).text() + " is no time in seconds");
  path.from = *from;
  path.to = *to;
  path.duration = static_cast<uint32_t>(*seconds * 1000);
  path.startedAt = loop_.clock().ticks();
  std::erase_if(ramps_, [&path](const std::unique_ptr<Ramp> &other) {
    return !other->timer.running() ||
           (other->path.control == path.control && other->path.index == path.index &&
            equalsIgnoreCase(other->path.property, path.property));
  });
  ramps_.push_back(
      std::make_unique<Ramp>(loop_, std::move(path), [this](Ramp &ramp) { step(ramp); }));
  ramps_.back()->timer.startPeriodic(kRampStep);
  return step(*ramps_.back());
}

std::optional<double> Interpreter::number(const Operand &value, const Scope &scope) {
  const Outcome outcome = evaluate(value, scope);
  const auto number = numberIn(outcome.value);
  if (!outcome)
    fail(scope.where, outcome.error);
  else if (!number)
    fail(scope.where, toLiteral(outcome.value) + " is no number");
  return number;
}

// The path is copied because the write may run handlers that replace the ramp.
bool Interpreter::step(Ramp &ramp) {
  const RampPath path = ramp.path;
  const uint32_t elapsed = loop_.clock().ticks() - path.startedAt;
  double value = path.to;
  if (ended() || elapsed >= path.duration)
    ramp.timer.stop();
  else
    value = path.from + (path.to - path.from) * elapsed / path.duration;
  const Control *control = stage_.find(path.control);
  const Member *property =
      control != nullptr ? control->members().find(path.property, Member::Kind::Property) : nullptr;
  if (property != nullptr && property->type != ValueType::Double &&
      property->type != ValueType::Text)
    value = std::round(value);
  return ended() || assign(path.control, path.property, value, path.index, path.where);
}

bool Interpreter::execute(const WaitTimeCommand &command, const Scope &scope) {
  const auto time = milliseconds(command.milliseconds, scope);
  if (!time)
    return false;
  pump([] { return false; }, *time);
  return !failed();
}

bool Interpreter::execute(const WaitEventCommand &command, const Scope &scope) {
  const auto limit = milliseconds(command.milliseconds, scope);
  if (!limit)
    return false;
  const Member *event = findEvent(command.event, scope);
  if (event == nullptr)
    return false;
  const Stage::Awaited awaited(stage_, command.event.control, *event);
  pump([&awaited] { return awaited.came() || awaited.controlGone(); }, *limit);
  if (ended() || awaited.came())
    return !failed();
  const std::string name = command.event.control + '.' + event->name;
  return fail(scope.where, awaited.controlGone()
                               ? command.event.control + " was deleted before " + name + " came"
                               : name + " did not come within " + std::to_string(*limit) + " ms");
}

bool Interpreter::execute(const WaitForeverCommand &, const Scope &) {
  while (!ended())
    pump([] { return false; }, std::numeric_limits<int32_t>::max());
  return !failed();
}

bool Interpreter::execute(const ExpectCommand &command, const Scope &scope) {
  const Outcome left = evaluate(command.left, scope);
  if (!left)
    return fail(scope.where, left.error);
  const Outcome right = evaluate(command.right, scope);
  if (!right)
    return fail(scope.where, right.error);
  return holds(left.value, command.comparison, right.value) ||
         fail(scope.where, "expected " + toLiteral(left.value) + ' ' + command.comparison + ' ' +
                               toLiteral(right.value));
}

bool Interpreter::execute(const PrintCommand &command, const Scope &scope) {
  std::vector<Variant> values;
  if (const std::string error = evaluateAll(command.values, scope, values); !error.empty())
    return fail(scope.where, error);
  std::string line;
  for (size_t i = 0; i < values.size(); ++i)
    line += (i == 0 ? "" : " ") + values[i].text();
  printLine(out_, line + '\n');
  return true;
}

bool Interpreter::execute(const AnswerCommand &command, const Scope &scope) {
  SheetAnswer answer;
  if (!evaluateSteps(command.steps, scope, answer.steps))
    return false;
  answer.failed = [this, where = scope.where](const std::string &reason, size_t) {
    fail(where, reason);
  };
  frontEnd_.queueAnswer(std::move(answer));
  return true;
}

bool Interpreter::evaluateSteps(const std::vector<AnswerStepText> &texts, const Scope &scope,
                                std::vector<AnswerStep> &steps) {
  for (const AnswerStepText &text : texts) {
    AnswerStep &step = steps.emplace_back();
    step.kind = text.kind;
    step.cancel = text.cancel;
    const auto take = [&](const Operand &value, std::string &result) {
      const Outcome outcome = evaluate(value, scope);
      result = outcome.value.text();
      return outcome || fail(scope.where, outcome.error);
    };
    if (text.name && !take(*text.name, step.name))
      return false;
    for (const auto &[field, value] : text.fields)
      if (!take(value, step.fields.emplace_back(field, "").second))
        return false;
  }
  return true;
}

bool Interpreter::execute(const IncludeCommand &command, const Scope &scope) {
  const std::string path = besides(scope.where.file, command.path);
  if (depth_ == kMaxDepth)
    return fail(scope.where, "files nest too deeply");
  const auto source = files_.read(path);
  if (!source)
    return fail(scope.where, "cannot read " + path);
  ++depth_;
  const bool done = runSource(path, *source, scope.frame);
  --depth_;
  return done;
}

bool Interpreter::execute(const QuitCommand &, const Scope &) {
  quit();
  return true;
}

} // namespace velto::script

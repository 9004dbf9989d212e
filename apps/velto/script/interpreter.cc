#include "apps/velto/script/interpreter.h"

#include "apps/velto/console/literal.h"
#include "apps/velto/script/parser.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace velto::script {

namespace {

Outcome failure(std::string reason) { return {{}, std::move(reason)}; }

} // namespace

Interpreter::Interpreter(EventLoop &loop, FileSystem &files, std::ostream &out, std::ostream &err,
                         ControlFactory factory)
    : loop_(loop), files_(files), out_(out), err_(err), frontEnd_(out, err),
      stage_(
          std::move(factory),
          [this](const std::string &control, const Member &event, Arguments arguments) {
            printEvent(control, event, arguments);
          },
          [this](const std::shared_ptr<const Body> &body, const Member &event,
                 Arguments arguments) {
            const Frame frame{event, arguments};
            if (!runNested(*body, &frame) && handlerFailed_)
              handlerFailed_(event);
          }) {}

void Interpreter::end(State state) {
  if (!ended())
    state_ = state;
}

bool Interpreter::fail(const Location &where, const std::string &reason) {
  printLine(err_,
            "error: " + where.file + ':' + std::to_string(where.line) + ": " + oneLine(reason));
  if (onError_ == OnError::End)
    end(State::Failed);
  return false;
}

bool Interpreter::runFile(const std::string &path) {
  const auto source = files_.read(path);
  return source ? runSource(path, *source, nullptr) : fail({path, 0}, "cannot read the file");
}

bool Interpreter::runLine(std::string_view line, const Location &where) {
  return runText(line, where, nullptr);
}

bool Interpreter::runSource(const std::string &path, std::string_view source, const Frame *frame) {
  Location where{path, 0};
  while (!source.empty() && !ended()) {
    const size_t end = std::min(source.find('\n'), source.size());
    ++where.line;
    if (!runText(source.substr(0, end), where, frame))
      return false;
    source.remove_prefix(std::min(end + 1, source.size()));
  }
  return !failed();
}

bool Interpreter::runText(std::string_view line, const Location &where, const Frame *frame) {
  if (line.ends_with('\r'))
    line.remove_suffix(1);
  const ParsedLine parsed = parseLine(line, where);
  return parsed.body ? runBody(*parsed.body, frame) : fail(where, parsed.error);
}

bool Interpreter::runBody(const Body &body, const Frame *frame) {
  const Scope scope{body.where, frame};
  for (const Command &command : body.commands) {
    if (ended())
      break;
    const auto run = [this, &scope](const auto &specific) { return execute(specific, scope); };
    if (!std::visit(run, command))
      return false;
  }
  return !failed();
}

bool Interpreter::runNested(const Body &body, const Frame *frame) {
  if (ended())
    return false;
  if (depth_ == kMaxDepth)
    return fail(body.where, "handlers nest too deeply");
  ++depth_;
  const bool done = runBody(body, frame);
  --depth_;
  return done;
}

void Interpreter::printEvent(const std::string &control, const Member &event, Arguments arguments) {
  std::string line = "! " + control + '.' + event.name;
  for (size_t i = 0; i < arguments.size(); ++i)
    line += (i == 0 ? " " : ", ") + toLiteral(arguments[i]);
  printLine(out_, screenText(std::move(line)));
}

bool Interpreter::pump(const std::function<bool()> &done, uint32_t milliseconds) {
  return loop_.runUntil([this, &done] { return ended() || done(); }, milliseconds);
}

Outcome Interpreter::evaluate(const Operand &value, const Scope &scope) {
  if (const auto *literal = std::get_if<Variant>(&value.form))
    return {*literal, ""};
  if (const auto *variable = std::get_if<VariableRef>(&value.form))
    return find(*variable, scope);
  const auto &member = std::get<Access>(value.form);
  Outcome outcome = evaluateMember(member, scope);
  if (outcome && outcome.value.empty())
    return failure(member.control + '.' + member.member + " gives no value");
  return outcome;
}

Outcome Interpreter::find(const VariableRef &variable, const Scope &scope) const {
  const std::string &name = variable.name;
  if (scope.frame != nullptr) {
    const auto &declared = scope.frame->event.arguments;
    size_t number = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
    const bool isNumber = error == std::errc{} && end == name.data() + name.size();
    for (size_t i = 0; i < scope.frame->arguments.size(); ++i)
      if (isNumber ? number == i + 1 : i < declared.size() && declared[i].name == name)
        return {scope.frame->arguments[i], ""};
  }
  const auto found = variables_.find(name);
  return found == variables_.end() ? failure("there is no variable $" + name)
                                   : Outcome{found->second, ""};
}

Outcome Interpreter::evaluateMember(const Access &access, const Scope &scope) {
  std::vector<Variant> arguments;
  if (std::string error = evaluateAll(access.arguments, scope, arguments); !error.empty())
    return failure(std::move(error));
  // The control is looked up after the arguments: they may be calls that delete it.
  Control *control = stage_.find(access.control);
  if (control == nullptr)
    return failure(Stage::noControl(access.control));
  const Member *member = control->members().find(access.member);
  if (member == nullptr)
    return failure(control->members().controlName + " has no member " + access.member);
  switch (member->kind) {
  case Member::Kind::Property:
    return control->get(member->name, arguments);
  case Member::Kind::Method:
    if (access.parentheses)
      return control->call(member->name, arguments);
    return failure(member->name + " is a method and needs parentheses");
  case Member::Kind::Event:
    break;
  }
  return failure(member->name + " is an event");
}

std::string Interpreter::evaluateAll(const std::vector<Operand> &values, const Scope &scope,
                                     std::vector<Variant> &results) {
  for (const Operand &value : values) {
    Outcome outcome = evaluate(value, scope);
    if (!outcome)
      return std::move(outcome.error);
    results.push_back(std::move(outcome.value));
  }
  return "";
}

std::optional<uint32_t> Interpreter::milliseconds(const Operand &value, const Scope &scope) {
  const Outcome outcome = evaluate(value, scope);
  const auto number = outcome.value.as(ValueType::Int32);
  if (!outcome)
    fail(scope.where, outcome.error);
  else if (!number || number->toInteger() < 0)
    fail(scope.where, toLiteral(outcome.value) + " is no time in milliseconds");
  else
    return static_cast<uint32_t>(number->toInteger());
  return std::nullopt;
}

const Member *Interpreter::findEvent(const EventRef &event, const Scope &scope) {
  const Control *control = stage_.find(event.control);
  if (control == nullptr) {
    fail(scope.where, Stage::noControl(event.control));
    return nullptr;
  }
  const MemberTable &table = control->members();
  const Member *found = table.find(event.event, Member::Kind::Event);
  if (found == nullptr)
    fail(scope.where, table.controlName + " has no event " + event.event);
  return found;
}

} // namespace velto::script

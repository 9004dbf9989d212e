#pragma once

#include "apps/velto/host/gem_host.h"
#include "apps/velto/host/words.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace velto {

/// The prompt of `velto host`: carries out commands, one on each line, from the keyboard or a
/// script.
class HostPrompt {
public:
  HostPrompt(GemHost &host, GemConsole &console) : host_(host), console_(console) {}

  /// Whether commands may read and write files of this computer.
  enum class Files { Yes, No };
  /// A command as the list of them tells it.
  struct Help {
    std::string_view name;
    std::string_view arguments;
    std::string_view help;
  };
  static std::vector<Help> commands();

  /// Carries out a line. Returns why it failed: there is no such command, the equipment refused, or
  /// no answer came in time. Returns an empty text when all went well.
  std::string run(std::string_view line, Files files = Files::Yes);
  /// Whether a line was the command quit.
  bool ended() const { return ended_; }

private:
  /// What follows the command in a line: cut into words, and as it was written.
  struct Line {
    std::vector<Word> words;
    std::string_view rest;
  };
  struct Row {
    std::string_view name;
    std::string_view arguments;
    std::string_view help;
    std::string (HostPrompt::*run)(const Line &line);
    bool raw = false; ///< takes the rest as it was written, not as words
  };

  static std::span<const Row> table();
  static std::optional<CHSecsItem> identifier(const Word &word);
  static std::string identifiers(const Line &line, std::vector<CHSecsItem> &ids, size_t least = 0);

  std::string ask(uint8_t stream, uint8_t function, CHSecsItem body = {});
  std::string getRecipe(const Word &ppid, const std::string &fileName);
  std::string putRecipe(const Word &ppid, const Word &source);
  std::string learnNames(VariableKind kind);
  std::string eventNames();
  std::string showValues(VariableKind kind, const Line &line);
  std::string enableEvents(const Line &line, bool enable);
  std::string enableAlarms(const Line &line, bool enable);

  std::string online(const Line &line);
  std::string offline(const Line &line);
  std::string status(const Line &line);
  std::string constants(const Line &line);
  std::string set(const Line &line);
  std::string names(const Line &which);
  std::string define(const Line &line);
  std::string link(const Line &line);
  std::string enable(const Line &line);
  std::string disable(const Line &line);
  std::string alarms(const Line &line);
  std::string enableAlarms(const Line &line);
  std::string disableAlarms(const Line &line);
  std::string command(const Line &line);
  std::string spool(const Line &line);
  std::string recipes(const Line &line);
  std::string recipe(const Line &line);
  std::string trace(const Line &line);
  std::string limits(const Line &line);
  std::string showLimits(std::span<const CHSecsItem> vids);
  std::string text(const Line &line);
  std::string time(const Line &line);
  std::string send(const Line &line);
  std::string areYouThere(const Line &line);
  std::string wait(const Line &line);
  std::string expect(const Line &line);
  std::string counters(const Line &line);
  std::string help(const Line &line);
  std::string quit(const Line &line);

  GemHost &host_;
  GemConsole &console_;
  Files files_ = Files::Yes;
  bool ended_ = false;
};

} // namespace velto

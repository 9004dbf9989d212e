#pragma once

#include "apps/velto/console/journal.h"
#include "apps/velto/spy/conversation.h"
#include "gem/data/model_data.h"
#include "secs2/sml_printer.h"

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace velto {

class SpyPage;

/// Which messages are shown: a list such as "S6F11,S5". A message is shown with its reply.
class MessageFilter {
public:
  /// Nothing when the list is none.
  static std::optional<MessageFilter> read(std::string_view list);

  /// Without a list, all.
  bool shows(const CHSecsHeader &header) const;

private:
  struct Entry {
    uint8_t stream;
    std::optional<uint8_t> primary; ///< its function; nothing: all of the stream
  };
  std::vector<Entry> entries_;
};

/// Prints what is seen of connections, in lines with the time:
///
///     09:41:07.112  #1 opened: 127.0.0.1:40112 to 10.0.0.5:5000
///     09:41:07.115  #1 --> S1F1W [3]  Are You There Request
///     09:41:07.118  #1 <-- S1F2 [3]  On Line Data  after 2.9 ms
///                   {
///                     <a 'ETCH-1'>
///                     <a '1.00'>
///                   }
///     09:41:52.300  #1 --> problem: S1F3W, system bytes 4: no reply within T3 of 45 s
class SpyConsole {
public:
  struct Settings {
    bool json = false;  ///< an object a line
    bool quiet = false; ///< problems alone
    MessageFilter filter;
    std::optional<GemData> names; ///< what variables, events and alarms are called
  };

  /// The settings must outlive it.
  SpyConsole(const Settings &settings, std::ostream &out) : settings_(settings), out_(out) {}
  SpyConsole(Settings &&settings, std::ostream &out) = delete;

  /// Where problems go, too.
  void setJournal(Journal &journal) { journal_ = &journal; }

  /// What is seen is on a page, too; whatever is printed of it.
  void setPage(SpyPage &page) { page_ = &page; }
  void pageAt(const SpyMoment &at, const std::string &address);

  void listening(const SpyMoment &at, uint16_t port);
  void opened(const SpyMoment &at, uint32_t connection, const std::string &address, uint16_t port,
              const std::string &target);
  void message(uint32_t connection, const SpiedMessage &message);
  void problem(uint32_t connection, const SpiedProblem &problem);
  void ended(const SpyMoment &at, uint32_t connection, const std::string &how, bool isProblem,
             const SpyCounters &counters);
  /// A problem of the program itself.
  void trouble(const SpyMoment &at, const std::string &text);
  void stopped(const SpyMoment &at);
  /// The line that tells how many lines were left out.
  std::string leftOut(const SpyMoment &at, uint64_t lines) const;

private:
  std::vector<std::string> explained(const CHSecsMessage &message) const;
  void event(const SpyMoment &at, const std::string &text, const std::string &members,
             bool isProblem = false, std::vector<std::string> entry = {});
  void print(std::string_view text);

  const Settings &settings_;
  std::ostream &out_;
  Journal *journal_ = nullptr;
  SpyPage *page_ = nullptr;
};

} // namespace velto

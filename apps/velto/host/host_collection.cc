// The commands of the host's prompt that collect data: traces and limits.

#include "apps/velto/host/explanation.h"
#include "apps/velto/host/host_prompt.h"
#include "base/text.h"
#include "gem/messages/items.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <utility>

namespace velto {

namespace {

constexpr uint32_t kLimitsDataId = 1;
constexpr double kLongestPeriod = 99 * 3600; // s
constexpr double kRounding = 1e-6;           // hundredths of a second that a decimal is off

// DSPER: hhmmss, or hhmmsscc where there are hundredths of a second. Empty when it is no period:
// parts of a hundredth cannot be told.
std::string samplePeriod(std::string_view text) {
  const auto seconds = wholeText<double>(text);
  if (!seconds || !(*seconds >= 0.01 && *seconds <= kLongestPeriod))
    return "";
  const auto hundredths = static_cast<unsigned>(std::lround(*seconds * 100));
  if (std::abs(*seconds * 100 - hundredths) > kRounding)
    return "";
  const unsigned whole = hundredths / 100;
  std::string period = formatText("%02u%02u%02u", whole / 3600, whole / 60 % 60, whole % 60);
  return hundredths % 100 == 0 ? period : period + formatText("%02u", hundredths % 100);
}

// A boundary: a whole number, or a real one.
std::optional<CHSecsItem> boundaryItem(std::string_view text) {
  if (wholeText<uint32_t>(text))
    return itemFromText(format::kU4, text);
  if (wholeText<int32_t>(text))
    return itemFromText(format::kI4, text);
  return wholeText<double>(text) ? itemFromText(format::kF8, text) : std::nullopt;
}

// "1=10..20": a limit with its dead band; "1=": without.
std::optional<CHSecsItem> limitItem(std::string_view text) {
  const size_t equals = std::min(text.find('='), text.size());
  const auto id = wholeText<uint8_t>(text.substr(0, equals));
  if (!id || equals == text.size())
    return std::nullopt;
  const std::string_view band = text.substr(equals + 1);
  CHSecsItem number = numberItem(*id, format::kBinary);
  if (band.empty())
    return listItem(std::move(number), listItem());
  const size_t dots = std::min(band.find(".."), band.size());
  auto lower = boundaryItem(band.substr(0, dots));
  auto upper = boundaryItem(band.substr(std::min(dots + 2, band.size())));
  return lower && upper ? std::optional(listItem(std::move(number),
                                                 listItem(std::move(*upper), std::move(*lower))))
                        : std::nullopt;
}

} // namespace

std::string HostPrompt::trace(const Line &line) {
  const auto &words = line.words;
  const auto trid = words.empty() ? std::nullopt : identifier(words[0]);
  if (!trid)
    return "trace takes a TRID: a number, or a text in double quotes";
  const bool ends = words.size() == 1;
  const std::string period = ends ? "000001" : samplePeriod(words[1].text);
  const auto samples = words.size() > 3 ? wholeText<uint32_t>(words[2].text) : std::nullopt;
  const auto group = words.size() > 3 ? wholeText<uint32_t>(words[3].text) : std::nullopt;
  if (period.empty() || (!ends && (!samples || !group)))
    return "trace takes a TRID, seconds from 0.01 on with two decimals at the most, samples, "
           "samples "
           "a message, and variables";
  CHSecsItem vids = listItem();
  for (size_t i = 4; i < words.size(); ++i) {
    auto vid = identifier(words[i]);
    if (!vid)
      return '"' + words[i].text + "\" is no number";
    vids.appendChild(std::move(*vid));
  }
  return ask(2, 23,
             listItem(trid->clone(), textItem(period), numberItem(samples.value_or(0)),
                      numberItem(group.value_or(1)), std::move(vids)));
}

std::string HostPrompt::limits(const Line &line) {
  std::vector<CHSecsItem> vids;
  CHSecsItem limits = listItem();
  const bool clears =
      !line.words.empty() && !line.words.back().quoted && line.words.back().text == "clear";
  for (const Word &word : std::span(line.words).first(line.words.size() - (clears ? 1 : 0))) {
    const bool isLimit = !word.quoted && word.text.find('=') != std::string::npos;
    auto item = isLimit ? limitItem(word.text) : identifier(word);
    if (!item)
      return '"' + word.text + "\" is no number, and no limit: LIMITID=LOWER..UPPER";
    if (isLimit)
      limits.appendChild(std::move(*item));
    else
      vids.push_back(std::move(*item));
  }
  if (limits.count() == 0 && !clears)
    return showLimits(vids);
  if (clears ? limits.count() != 0 || vids.size() > 1 : vids.size() != 1)
    return "limits are set for one variable, and cleared for one or all";
  CHSecsItem variables = listItem(); // none: all are cleared
  if (!vids.empty())
    variables.appendChild(listItem(std::move(vids.front()), std::move(limits)));
  return ask(2, 45, listItem(numberItem(kLimitsDataId), std::move(variables)));
}

std::string HostPrompt::showLimits(std::span<const CHSecsItem> vids) {
  CHSecsItem named = listItem();
  for (const CHSecsItem &vid : vids)
    named.appendChild(vid.clone());
  if (std::string problem = ask(2, 47, std::move(named)); !problem.empty())
    return problem;
  for (const CHSecsItem &entry : host_.reply().root.children()) {
    const CHSecsItem &attributes = childOf(entry, 2);
    std::string text = variableTitle(identifierText(childOf(entry, 1)), host_.names());
    if (attributes.count() == 0) {
      host_.say(text + " has no limits");
      continue;
    }
    const std::string_view unit = childOf(attributes, 1).text();
    text += ", " + readableItem(childOf(attributes, 2)) + " to " +
            readableItem(childOf(attributes, 3)) + (unit.empty() ? "" : " ");
    text += unit;
    for (const CHSecsItem &limit : childOf(attributes, 4).children())
      text += ", limit " + readableItem(childOf(limit, 1)) + " = " +
              readableItem(childOf(limit, 3)) + ".." + readableItem(childOf(limit, 2));
    host_.say(text);
  }
  return "";
}

} // namespace velto

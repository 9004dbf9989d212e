#pragma once

#include "platform/clock.h"
#include "secs2/edition.h"
#include "secs2/item.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace velto {

class GemModelOwner;
struct GemData;

/// The local time as text (SEMI E5 TIME). Formats: 0 "YYMMDDhhmmss", 1 "YYYYMMDDhhmmsscc",
/// 2 "YYYY/MM/DD hh:mm:ss.mmm", which in the current edition is the extended form
/// "YYYY-MM-DDThh:mm:ss.mmm+hh:mm" with the offset from UTC; any other gives the empty text.
std::string currentTimeText(const Clock &clock, int format, E5Edition edition = E5Edition::Early);
/// The same in the format that the variable of the role TimeFormat asks for, 1 without one.
std::string currentTimeText(const GemModelOwner &owner, const GemData &data);

/// Reads a time of 12 ("YYMMDDhhmmss", the years 1981 to 2080) or 16 ("YYYYMMDDhhmmsscc")
/// characters; nothing for any other length. The fields are not checked, the day of the week is not
/// set.
std::optional<LocalTime> parseTime(std::string_view text);

/// Reads a time in the extended form, with Z or an offset from UTC, as the local time that is
/// `utcOffset` minutes ahead of UTC; nothing when there is no such time.
std::optional<LocalTime> parseExtendedTime(std::string_view text, int32_t utcOffset);

/// Sets the clock to the time in a message's body (S2F31, or S2F18 that answers S2F17), in any of
/// its forms, if `changePCClock` allows it. Returns TIACK: 0 done; 1 not done, the clock being as
/// before.
uint8_t setClockFromHost(Clock &clock, bool changePCClock, const CHSecsItem &body);

} // namespace velto

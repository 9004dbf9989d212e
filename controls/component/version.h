#pragma once

namespace velto {

/// The release that this build belongs to; the same as the package's.
inline constexpr const char *kVersion = "0.1.0";

} // namespace velto

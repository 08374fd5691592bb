// Release identity of the build: the texts printed by "-v", in the banner and in the run log.
#pragma once

namespace tesmora {

inline constexpr const char *release_number = "12.0"; // release number text
inline constexpr int release_revision = 17;           // revision within the release
inline constexpr const char *release_date = "April 13, 2020";
inline constexpr const char *module_name = "TESMORA";   // module name in banners and log lines
inline constexpr const char *word_size_text = " 64bit"; // word size text of the banner

} // namespace tesmora

// The exit statuses of kelo-rehearse, for a shell.
#pragma once

namespace exit_status
{

inline constexpr int kSuccess = 0;
inline constexpr int kFailure = 1;    // the program ended with -1, or the exported entry point returned anything but 0
inline constexpr int kUsageError = 2; // or a description that cannot be used
inline constexpr int kEndless = 3;    // the program would wait for ever
inline constexpr int kDeath = 4;      // the program died

} // namespace exit_status

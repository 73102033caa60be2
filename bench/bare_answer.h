#pragma once
// The least a program can do to serve the engines: read a 160-character reply, wait 30 ms, write
// the reply's 32 numbers back as a 34-byte frame, nothing else. One thread, one poll over the
// ports with nanosecond deadlines. It is the yardstick the station is measured against.
#include <string>
#include <vector>

namespace tarvek::bench {

// Serves the devices until SIGTERM, then prints how many of its deadlines it met more than 0.3 ms
// late and returns 0; returns 1 at once when a device cannot be opened or polled.
int runBareAnswer(const std::vector<std::string>& devices);

} // namespace tarvek::bench

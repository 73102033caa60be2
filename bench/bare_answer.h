#pragma once
// The least a program can do to serve the engines: read a 160-character reply, wait 30 ms, write
// the reply's 32 numbers back as a 34-byte frame, nothing else. One thread, one poll over the
// ports with nanosecond deadlines. It is the yardstick the station is measured against.
#include <string>
#include <vector>

namespace tarvek::bench {

// Serves the devices until SIGTERM, then prints how many of its deadlines it met more than 0.3 ms
// late and returns 0; returns 1 at once when a device cannot be opened or polled. With a
// timesFile, it also writes there, at its end, the moments it saw each reply end and wrote each
// frame: one line each, "engine what nanoseconds" (what: 0 a reply's end, 1 a frame; the
// monotonic clock), for the bench to split each turnaround into its parts.
int runBareAnswer(const std::vector<std::string>& devices, const std::string& timesFile = {});

} // namespace tarvek::bench

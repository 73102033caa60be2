#include "bare_answer.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace tarvek::bench {

namespace {
constexpr int kReply = 160;
constexpr int kFieldWidth = 5;
constexpr long long kAnswerDelayNs = 30'000'000;
// Counted as the station counts its own deadlines: met more than this late.
constexpr long long kLateNs = 300'000;

volatile std::sig_atomic_t stopAsked = 0;

long long now()
{
    timespec t{};
    ::clock_gettime(CLOCK_MONOTONIC, &t);
    return t.tv_sec * 1'000'000'000LL + t.tv_nsec;
}

struct Engine {
    int fd = -1;
    std::array<char, 4096> held{};
    int heldBytes = 0;
    long long answerAt = -1; // when the frame for the reply held is due
    std::array<char, 34> frame{};
};

// The 32 numbers of a reply, each as the byte of its value, then CR LF: the reply echoed.
void echo(const char* reply, std::array<char, 34>& frame)
{
    for (int k = 0; k < 32; ++k) {
        int value = 0;
        for (int i = 0; i < kFieldWidth; ++i) {
            const char c = reply[k * kFieldWidth + i];
            if (c >= '0' && c <= '9')
                value = value * 10 + (c - '0');
        }
        frame[static_cast<std::size_t>(k)] = static_cast<char>(value & 0xff);
    }
    frame[32] = '\r';
    frame[33] = '\n';
}
} // namespace

int runBareAnswer(const std::vector<std::string>& devices, const std::string& timesFile)
{
    std::vector<Engine> engines(devices.size());
    for (std::size_t i = 0; i < devices.size(); ++i) {
        Engine& e = engines[i];
        e.fd = ::open(devices[i].c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
        termios tio{};
        if (e.fd < 0 || ::tcgetattr(e.fd, &tio) != 0) {
            std::fprintf(stderr, "bare answer: cannot open %s\n", devices[i].c_str());
            return 1;
        }
        ::cfmakeraw(&tio);
        ::cfsetspeed(&tio, B19200);
        ::tcsetattr(e.fd, TCSANOW, &tio);
        ::tcflush(e.fd, TCIFLUSH);
    }
    // The bench ends the bare answer with SIGTERM; it is let in only while the poll waits, which
    // then tells how late the deadlines were met, as the station tells its own at its end.
    struct sigaction onTerm{};
    onTerm.sa_handler = [](int) { stopAsked = 1; };
    ::sigaction(SIGTERM, &onTerm, nullptr);
    sigset_t term, waiting;
    ::sigemptyset(&term);
    ::sigaddset(&term, SIGTERM);
    ::sigprocmask(SIG_BLOCK, &term, &waiting);
    ::sigdelset(&waiting, SIGTERM);
    long long told = 0, late = 0, latestNs = 0;
    // Each reply's end as the bare answer saw it, and each frame's write: engine, what, when.
    std::vector<std::array<long long, 3>> moments;

    std::vector<pollfd> polled(engines.size());
    while (!stopAsked) {
        long long due = -1;
        for (const Engine& e : engines)
            if (e.answerAt >= 0 && (due < 0 || e.answerAt < due))
                due = e.answerAt;
        timespec wait{};
        timespec* timeout = nullptr;
        if (due >= 0) {
            const long long ns = std::max(0LL, due - now());
            wait = {static_cast<time_t>(ns / 1'000'000'000), static_cast<long>(ns % 1'000'000'000)};
            timeout = &wait;
        }
        for (std::size_t i = 0; i < engines.size(); ++i)
            polled[i] = {engines[i].fd, POLLIN, 0};
        if (::ppoll(polled.data(), polled.size(), timeout, &waiting) < 0) {
            if (errno != EINTR)
                return 1;
            continue;
        }
        const long long t = now();
        for (std::size_t i = 0; i < engines.size(); ++i) {
            Engine& e = engines[i];
            if (e.answerAt >= 0 && t >= e.answerAt) {
                if (::write(e.fd, e.frame.data(), e.frame.size()) < 0 && errno != EAGAIN)
                    return 1;
                if (!timesFile.empty())
                    moments.push_back({static_cast<long long>(i + 1), 1, t});
                ++told;
                if (t - e.answerAt > kLateNs)
                    ++late;
                latestNs = std::max(latestNs, t - e.answerAt);
                e.answerAt = -1;
            }
            if (!(polled[i].revents & POLLIN))
                continue;
            const ssize_t n = ::read(e.fd, e.held.data() + e.heldBytes, e.held.size() - static_cast<std::size_t>(e.heldBytes));
            if (n <= 0)
                continue;
            e.heldBytes += static_cast<int>(n);
            if (e.heldBytes < kReply)
                continue;
            // A reply is the last 160 characters when its field 30 reads 123; otherwise the port was
            // opened in the middle of one, and only the last 159 may still begin the next.
            const char* window = e.held.data() + e.heldBytes - kReply;
            if (std::memcmp(window + 30 * kFieldWidth + 2, "123", 3) == 0) {
                if (!timesFile.empty())
                    moments.push_back({static_cast<long long>(i + 1), 0, t});
                echo(window, e.frame);
                e.heldBytes = 0;
                e.answerAt = t + kAnswerDelayNs;
            } else {
                std::memmove(e.held.data(), window + 1, kReply - 1);
                e.heldBytes = kReply - 1;
            }
        }
    }
    if (!timesFile.empty()) {
        if (FILE* f = std::fopen(timesFile.c_str(), "w")) {
            for (const auto& [engine, what, at] : moments)
                std::fprintf(f, "%lld %lld %lld\n", engine, what, at);
            std::fclose(f);
        }
    }
    std::printf("bare answer deadlines - %lld told; more than %.1f ms late: %lld (the latest by %.3f ms)\n", told,
                static_cast<double>(kLateNs) / 1e6, late, static_cast<double>(latestNs) / 1e6);
    return 0;
}

} // namespace tarvek::bench

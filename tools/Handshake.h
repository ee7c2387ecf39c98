#pragma once
#include <cstdio>
#include <string>

// The lockstep between `cvtool capture` and `cvtool follow`: two named pipes
// in a folder, "to-follower" and "to-capture", made by whoever runs the pair.
// Each side writes a line and waits for the other's answer, so the two
// processes take turns and every run sees the same states of the files.
class Handshake {
public:
    enum Side { Capture, Follower };

    Handshake() = default;
    ~Handshake();
    Handshake(const Handshake&) = delete;
    Handshake& operator=(const Handshake&) = delete;

    // Opens both pipes, in the same order on both sides so that neither
    // blocks the other. False with errno set on failure.
    bool open(const std::string& folder, Side side);
    bool send(const std::string& line);
    // The next line without its end; false when the other side has gone.
    bool receive(std::string& line);

private:
    std::FILE* m_out = nullptr;
    std::FILE* m_in = nullptr;
};

// Nanoseconds of the monotonic clock, which both processes share.
long long monotonicNanoseconds();

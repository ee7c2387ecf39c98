#include "tools/Handshake.h"

#include <ctime>

Handshake::~Handshake()
{
    if (m_out)
        std::fclose(m_out);
    if (m_in)
        std::fclose(m_in);
}

bool Handshake::open(const std::string& folder, Side side)
{
    std::string toFollower = folder + "/to-follower";
    std::string toCapture = folder + "/to-capture";
    if (side == Capture) {
        m_out = std::fopen(toFollower.c_str(), "w");
        m_in = m_out ? std::fopen(toCapture.c_str(), "r") : nullptr;
    } else {
        m_in = std::fopen(toFollower.c_str(), "r");
        m_out = m_in ? std::fopen(toCapture.c_str(), "w") : nullptr;
    }
    return m_out && m_in;
}

bool Handshake::send(const std::string& line)
{
    return std::fprintf(m_out, "%s\n", line.c_str()) > 0 && std::fflush(m_out) == 0;
}

bool Handshake::receive(std::string& line)
{
    line.clear();
    int c;
    while ((c = std::fgetc(m_in)) != EOF && c != '\n')
        line += static_cast<char>(c);
    return c != EOF || !line.empty();
}

long long monotonicNanoseconds()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<long long>(now.tv_sec) * 1000000000LL + now.tv_nsec;
}

#pragma once
#include <cstddef>
#include <cstdint>
#include <string>

// MD5 of a byte string (RFC 1321), for comparing packets with ffprobe's data_hash.
class Md5 {
public:
    Md5();
    void update(const unsigned char* data, size_t size);
    // 32 lower-case hex digits; the object is spent afterwards.
    std::string hexDigest();

private:
    void block(const unsigned char* data);
    uint32_t m_state[4];
    uint64_t m_length = 0;
    unsigned char m_buffer[64];
    size_t m_buffered = 0;
};

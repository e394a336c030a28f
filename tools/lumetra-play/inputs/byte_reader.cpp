// byte_reader.cpp - reading with poll(), so that waiting for a slow pipe can be interrupted.
#include "tools/lumetra-play/inputs/byte_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "tools/lumetra-play/run/play_error.h"

namespace {

constexpr std::size_t BUFFER_BYTES = 65536;

}  // namespace

ByteReader::ByteReader(const std::string& name, const StopRequest& stop)
    : m_name(name == "-" ? "standard input" : name), m_stop(stop), m_buffer(BUFFER_BYTES) {
    m_file = name == "-" ? STDIN_FILENO : open(name.c_str(), O_RDONLY | O_CLOEXEC);
    if (m_file < 0)
        throw PlayError("cannot open " + name + " (" + std::strerror(errno) + "): check the path");
    struct stat status {};
    if (fstat(m_file, &status) == 0 && S_ISDIR(status.st_mode)) {
        if (m_file != STDIN_FILENO) close(m_file);
        throw PlayError(m_name + " is a folder: name the files in it");
    }
}

ByteReader::~ByteReader() {
    if (m_file != STDIN_FILENO) close(m_file);
}

std::size_t ByteReader::readDirectly(std::uint8_t* target, std::size_t count) {
    for (;;) {
        if (!m_stop.waitReadable(m_file)) {
            m_stopped = true;
            return 0;
        }
        const ssize_t got = ::read(m_file, target, count);
        if (got >= 0) return static_cast<std::size_t>(got);
        if (errno != EINTR && errno != EAGAIN)
            throw PlayError("cannot read " + m_name + " (" + std::strerror(errno) + "): check the source");
    }
}

bool ByteReader::fill() {
    if (m_begin > 0) {
        std::memmove(m_buffer.data(), m_buffer.data() + m_begin, m_end - m_begin);
        m_end -= m_begin;
        m_begin = 0;
    }
    const std::size_t got = readDirectly(m_buffer.data() + m_end, m_buffer.size() - m_end);
    m_end += got;
    return got > 0;
}

bool ByteReader::startsWith(std::string_view magic) {
    while (m_end - m_begin < magic.size())
        if (!fill()) return false;
    return std::equal(
        magic.begin(), magic.end(), m_buffer.begin() + static_cast<std::ptrdiff_t>(m_begin),
        [](char expected, std::uint8_t byte) { return static_cast<std::uint8_t>(expected) == byte; });
}

std::size_t ByteReader::read(std::uint8_t* target, std::size_t count) {
    std::size_t done = std::min(count, m_end - m_begin);
    if (done > 0) std::memcpy(target, m_buffer.data() + m_begin, done);
    m_begin += done;
    while (done < count) {
        const std::size_t got = readDirectly(target + done, count - done);
        if (got == 0) break;
        done += got;
    }
    return done;
}

ByteReader::Line ByteReader::readLine(std::string& line, std::size_t limit) {
    line.clear();
    for (;;) {
        if (m_begin == m_end && !fill()) return Line::End;
        const char byte = static_cast<char>(m_buffer[m_begin++]);
        if (byte == '\n') return Line::Complete;
        if (line.size() == limit) return Line::TooLong;
        line += byte;
    }
}

bool ByteReader::rewind() {
    if (lseek(m_file, 0, SEEK_SET) != 0) return false;
    m_begin = m_end = 0;
    return true;
}

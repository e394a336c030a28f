// byte_stream.cpp - poll, then read.
#include "tools/lumetra-play/inputs/byte_stream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <new>

#include "tools/lumetra-play/run/play_error.h"

namespace {

constexpr int BUFFER_BYTES = 65536;

// A pipe is opened without waiting for its writer: that is what the stop request can interrupt.
int openForReading(const std::string& name) {
    if (name != "-") {
        const int file = open(name.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        if (file < 0) throw systemError("cannot open " + name, errno, "check the path");
        return file;
    }
    const int mode = fcntl(STDIN_FILENO, F_GETFL);
    if (mode < 0 || (mode & O_ACCMODE) == O_WRONLY)
        throw PlayError("standard input is closed: pipe a video into it, or name a file instead of -");
    if (isatty(STDIN_FILENO) == 1)
        throw PlayError("standard input is a terminal: pipe a video into it, or name a file instead of -");
    return fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3);
}

}  // namespace

ByteStream::ByteStream(const std::string& name, const StopRequest& stop)
    : m_stop(stop), m_file(openForReading(name)) {
    const bool seekable = lseek(m_file, 0, SEEK_SET) == 0;
    auto* const buffer = static_cast<unsigned char*>(av_malloc(BUFFER_BYTES));
    m_context =
        avio_alloc_context(buffer, BUFFER_BYTES, 0, this, onRead, nullptr, seekable ? onSeek : nullptr);
    if (m_context == nullptr) throw std::bad_alloc();
}

ByteStream::~ByteStream() {
    av_freep(&m_context->buffer);
    avio_context_free(&m_context);
    close(m_file);
}

int ByteStream::onRead(void* self, std::uint8_t* target, int count) {
    const auto* const stream = static_cast<ByteStream*>(self);
    for (;;) {
        if (!stream->m_stop.waitReadable(stream->m_file)) return AVERROR_EXIT;
        const ssize_t got = read(stream->m_file, target, static_cast<std::size_t>(count));
        if (got > 0) return static_cast<int>(got);
        if (got == 0) return AVERROR_EOF;
        if (errno != EINTR && errno != EAGAIN) return AVERROR(errno);
    }
}

std::int64_t ByteStream::onSeek(void* self, std::int64_t offset, int origin) {
    const auto* const stream = static_cast<ByteStream*>(self);
    struct stat status {};
    if (origin == AVSEEK_SIZE) return fstat(stream->m_file, &status) == 0 ? status.st_size : AVERROR(errno);
    const off_t place = lseek(stream->m_file, offset, origin & ~AVSEEK_FORCE);
    return place < 0 ? AVERROR(errno) : place;
}

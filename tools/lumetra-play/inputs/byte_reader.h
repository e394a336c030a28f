// byte_reader.h - buffered bytes of a file or of standard input; a stop request ends them early.
// One thread. Owns the file, but never closes standard input.
#ifndef LUMETRA_PLAY_BYTE_READER_H
#define LUMETRA_PLAY_BYTE_READER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tools/lumetra-play/run/stop_request.h"

class ByteReader {
public:
    /// @param name  path of a file, or "-" for standard input
    /// @throws PlayError if it cannot be opened
    ByteReader(const std::string& name, const StopRequest& stop);
    ~ByteReader();
    ByteReader(const ByteReader&) = delete;
    ByteReader& operator=(const ByteReader&) = delete;

    const std::string& name() const { return m_name; }  ///< for messages
    bool stopped() const { return m_stopped; }          ///< the bytes ended because of the stop request

    bool startsWith(std::string_view magic);  ///< whether these bytes come next; consumes nothing
    /// Fills `target`; fewer bytes only at the end. @throws PlayError if the file cannot be read
    std::size_t read(std::uint8_t* target, std::size_t count);
    enum class Line { Complete, TooLong, End };
    /// A line without its end; End if the bytes end before the line does, with what there was in `line`.
    Line readLine(std::string& line, std::size_t limit);
    bool rewind();  ///< back to the first byte; false for what cannot go back, such as a pipe

private:
    bool fill();
    std::size_t readDirectly(std::uint8_t* target, std::size_t count);

    std::string m_name;
    const StopRequest& m_stop;
    int m_file = -1;
    std::vector<std::uint8_t> m_buffer;
    std::size_t m_begin = 0, m_end = 0;  // of the bytes in m_buffer that are still to be handed out
    bool m_stopped = false;
};

#endif

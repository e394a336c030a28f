// netpbm_source.h - PGM or PPM files, one frame each, read by the library. One thread.
#ifndef LUMETRA_PLAY_NETPBM_SOURCE_H
#define LUMETRA_PLAY_NETPBM_SOURCE_H

#include <string>
#include <vector>

#include "tools/lumetra-play/inputs/frame_source.h"
#include "tools/lumetra-play/run/library_table.h"

class NetpbmSource : public FrameSource {
public:
    /// @throws PlayError if the first file cannot be read
    NetpbmSource(const std::vector<std::string>& paths, const LibraryTable& library);

    std::string name() const override { return m_paths[0]; }
    bool read(Bytes& frame) override;
    bool rewind() override;

private:
    Picture readFile(const std::string& path, Bytes& frame) const;

    const LibraryTable& m_library;
    std::vector<std::string> m_paths;  // absolute, since the program changes its folder
    std::size_t m_next = 0;
};

#endif

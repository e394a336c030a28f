// peer_jpeg.h - a grey picture to JPEG by libjpeg-turbo with its defaults.
#ifndef LUMETRA_BENCH_PEER_JPEG_H
#define LUMETRA_BENCH_PEER_JPEG_H

#include <cstdio>
#include <cstdlib>

#include <jpeglib.h>

#include "bench/side_by_side.h"

class PeerJpeg {
public:
    PeerJpeg() {
        m_encoder.err = jpeg_std_error(&m_errors);
        jpeg_create_compress(&m_encoder);
    }
    ~PeerJpeg() {
        jpeg_destroy_compress(&m_encoder);
        std::free(m_out);
    }
    PeerJpeg(const PeerJpeg&) = delete;
    PeerJpeg& operator=(const PeerJpeg&) = delete;

    void encode(unsigned char* picture, FrameSize size, int quality) {
        if (m_out == nullptr) m_capacity = size.pixels();
        if (m_out == nullptr) m_out = static_cast<unsigned char*>(std::malloc(m_capacity));
        m_size = m_capacity;
        jpeg_mem_dest(&m_encoder, &m_out, &m_size);
        m_encoder.image_width = static_cast<unsigned>(size.width);
        m_encoder.image_height = static_cast<unsigned>(size.height);
        m_encoder.input_components = 1;
        m_encoder.in_color_space = JCS_GRAYSCALE;
        jpeg_set_defaults(&m_encoder);
        jpeg_set_quality(&m_encoder, quality, TRUE);
        jpeg_start_compress(&m_encoder, TRUE);
        while (m_encoder.next_scanline < m_encoder.image_height) {
            JSAMPROW row = picture + m_encoder.next_scanline * m_encoder.image_width;
            jpeg_write_scanlines(&m_encoder, &row, 1);
        }
        jpeg_finish_compress(&m_encoder);
    }

    const unsigned char* data() const { return m_out; }
    std::size_t size() const { return m_size; }

private:
    jpeg_compress_struct m_encoder{};
    jpeg_error_mgr m_errors{};
    unsigned char* m_out = nullptr;
    unsigned long m_capacity = 0, m_size = 0;
};

#endif

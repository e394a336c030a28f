// jpeg_encoding.cpp - libjpeg, which leaves its functions by a jump where it cannot go on: between there and
// encode() nothing may need a destructor.
#include "jpeg_encoding.h"

#include <algorithm>
#include <csetjmp>
#include <cstddef>
#include <cstdio>  // jpeglib.h needs it
#include <exception>
#include <utility>

#include <jpeglib.h>

namespace {

class Encoder {
public:
    Encoder() {
        m_info.err = jpeg_std_error(&m_errors);
        m_info.client_data = this;
        m_errors.error_exit = [](j_common_ptr info) { self(info).leave(); };
        m_destination.init_destination = [](j_compress_ptr info) { self(info).makeRoom(0); };
        m_destination.empty_output_buffer = [](j_compress_ptr info) -> boolean {
            self(info).makeRoom(self(info).m_file.size());
            return TRUE;
        };
        m_destination.term_destination = [](j_compress_ptr info) { self(info).cutRest(); };
    }
    ~Encoder() { jpeg_destroy_compress(&m_info); }
    Encoder(const Encoder&) = delete;
    Encoder& operator=(const Encoder&) = delete;

    bool encode(const GreyLevel& level, int quality) {
        if (setjmp(m_failed) != 0) return false;
        jpeg_create_compress(&m_info);
        m_info.dest = &m_destination;
        m_info.image_width = static_cast<JDIMENSION>(level.width);
        m_info.image_height = static_cast<JDIMENSION>(level.height);
        m_info.input_components = 1;
        m_info.in_color_space = JCS_GRAYSCALE;
        jpeg_set_defaults(&m_info);
        jpeg_set_quality(&m_info, quality, TRUE);
        jpeg_start_compress(&m_info, TRUE);
        while (m_info.next_scanline < m_info.image_height) {
            const unsigned char* const row =
                level.pixels + std::size_t{m_info.next_scanline} * m_info.image_width;
            JSAMPROW rows[] = {const_cast<JSAMPROW>(row)};  // only read
            jpeg_write_scanlines(&m_info, rows, 1);
        }
        jpeg_finish_compress(&m_info);
        return true;
    }

    std::string takeFile() { return std::move(m_file); }

private:
    template <class Info>
    static Encoder& self(Info* info) {
        return *static_cast<Encoder*>(info->client_data);
    }

    [[noreturn]] void leave() { std::longjmp(m_failed, 1); }

    // Behind the bytes written so far.
    void makeRoom(std::size_t written) {
        constexpr std::size_t LEAST = 1 << 14;
        bool hasMemory = true;
        try {
            m_file.resize(std::max(LEAST, 2 * written));
        } catch (const std::exception&) {
            hasMemory = false;
        }
        if (!hasMemory) leave();
        m_destination.next_output_byte = reinterpret_cast<JOCTET*>(m_file.data()) + written;
        m_destination.free_in_buffer = m_file.size() - written;
    }

    void cutRest() { m_file.resize(m_file.size() - m_destination.free_in_buffer); }

    jpeg_compress_struct m_info{};
    jpeg_error_mgr m_errors{};
    jpeg_destination_mgr m_destination{};
    std::jmp_buf m_failed{};
    std::string m_file;
};

}  // namespace

std::shared_ptr<const std::string> encodeJpeg(const GreyLevel& level, int quality) {
    Encoder encoder;
    if (!encoder.encode(level, quality)) return nullptr;
    return std::make_shared<const std::string>(encoder.takeFile());
}

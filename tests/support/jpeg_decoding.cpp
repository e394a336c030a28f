#include "tests/support/jpeg_decoding.h"

#include <csetjmp>
#include <cstdio>
#include <stdexcept>
#include <type_traits>

#include <jpeglib.h>

namespace {

// libjpeg calls back on an error and expects not to return; its C frames are left by a long jump, so nothing
// that runs under `guarded` may own anything.
struct Escape {
    jpeg_error_mgr manager;
    std::jmp_buf target;
    char message[JMSG_LENGTH_MAX];
};

[[noreturn]] void escape(j_common_ptr info) {
    auto* self = reinterpret_cast<Escape*>(info->err);
    self->manager.format_message(info, self->message);
    std::longjmp(self->target, 1);
}

void escapeOnWarning(j_common_ptr info, int level) {
    if (level < 0) escape(info);
}

template <class Info, class Work>
bool guarded(Info& info, Escape& errors, Work& work) {
    static_assert(std::is_trivially_destructible_v<Work>);
    info.err = jpeg_std_error(&errors.manager);
    errors.manager.error_exit = escape;
    errors.manager.emit_message = escapeOnWarning;
    if (setjmp(errors.target) != 0) return false;
    work(info);
    return true;
}

// `work` gets a decoder that has read the header of `file`.
template <class Work>
void withDecoder(const std::vector<std::uint8_t>& file, Work work) {
    jpeg_decompress_struct info{};
    Escape errors{};
    auto steps = [&file, &work](jpeg_decompress_struct& decoder) {
        jpeg_create_decompress(&decoder);
        jpeg_mem_src(&decoder, file.data(), static_cast<unsigned long>(file.size()));
        jpeg_save_markers(&decoder, JPEG_COM, 0xFFFF);
        jpeg_read_header(&decoder, TRUE);
        work(decoder);
        jpeg_finish_decompress(&decoder);
    };
    const bool done = guarded(info, errors, steps);
    const std::size_t left = done ? info.src->bytes_in_buffer : 0;
    jpeg_destroy_decompress(&info);
    if (!done) throw std::runtime_error(errors.message);
    if (left != 0) throw std::runtime_error("bytes behind the end of the image");
}

void appendHuffman(std::vector<std::vector<int>>& tables, const JHUFF_TBL& table) {
    auto& entries = tables.emplace_back(table.bits + 1, table.bits + 17);
    int symbols = 0;
    for (const int count : entries) symbols += count;
    entries.insert(entries.end(), table.huffval, table.huffval + symbols);
}

template <class Info>
void copyTables(const Info& info, JpegTables& tables) {
    for (std::size_t i = 0; i < 2; ++i) {
        for (std::size_t k = 0; k < 64; ++k) tables.quantisation[i][k] = info.quant_tbl_ptrs[i]->quantval[k];
        appendHuffman(tables.huffman, *info.dc_huff_tbl_ptrs[i]);
        appendHuffman(tables.huffman, *info.ac_huff_tbl_ptrs[i]);
    }
}

void copyPlane(jpeg_decompress_struct& info, const jpeg_component_info& component, jvirt_barray_ptr source,
               CoefficientPlane& plane) {
    const auto roundUp = [](JDIMENSION count, int factor) {
        return (static_cast<int>(count) + factor - 1) / factor * factor;
    };
    plane.blocksWide = roundUp(component.width_in_blocks, component.h_samp_factor);
    plane.blocksHigh = roundUp(component.height_in_blocks, component.v_samp_factor);
    for (int y = 0; y < plane.blocksHigh; ++y) {
        const auto row = static_cast<JDIMENSION>(y);
        JBLOCKARRAY blocks =
            info.mem->access_virt_barray(reinterpret_cast<j_common_ptr>(&info), source, row, 1, FALSE);
        for (int x = 0; x < plane.blocksWide; ++x) {
            auto& block = plane.blocks.emplace_back();
            for (std::size_t k = 0; k < 64; ++k) block[k] = blocks[0][x][k];
        }
    }
}

}  // namespace

DecodedJpeg decodeJpeg(const std::vector<std::uint8_t>& file) {
    DecodedJpeg image{};
    withDecoder(file, [&image](jpeg_decompress_struct& info) {
        if (const auto* marker = info.marker_list)
            image.comment.emplace(reinterpret_cast<const char*>(marker->data), marker->data_length);
        jpeg_start_decompress(&info);
        image.width = static_cast<int>(info.output_width);
        image.height = static_cast<int>(info.output_height);
        image.components = info.output_components;
        const auto stride = static_cast<std::size_t>(image.width * image.components);
        image.samples.resize(stride * info.output_height);
        while (info.output_scanline < info.output_height) {
            JSAMPROW row = image.samples.data() + stride * info.output_scanline;
            jpeg_read_scanlines(&info, &row, 1);
        }
    });
    return image;
}

std::vector<CoefficientPlane> readCoefficients(const std::vector<std::uint8_t>& file) {
    std::vector<CoefficientPlane> planes;
    withDecoder(file, [&planes](jpeg_decompress_struct& info) {
        jvirt_barray_ptr* sources = jpeg_read_coefficients(&info);
        planes.resize(static_cast<std::size_t>(info.num_components));
        for (std::size_t i = 0; i < planes.size(); ++i)
            copyPlane(info, info.comp_info[i], sources[i], planes[i]);
    });
    return planes;
}

JpegTables readTables(const std::vector<std::uint8_t>& file) {
    JpegTables tables{};
    withDecoder(file, [&tables](jpeg_decompress_struct& info) {
        jpeg_read_coefficients(&info);
        copyTables(info, tables);
    });
    return tables;
}

JpegTables typicalTables(int quality) {
    JpegTables tables{};
    jpeg_compress_struct info{};
    Escape errors{};
    auto steps = [&tables, quality](jpeg_compress_struct& encoder) {
        jpeg_create_compress(&encoder);
        encoder.input_components = 3;
        encoder.in_color_space = JCS_RGB;
        jpeg_set_defaults(&encoder);
        jpeg_set_quality(&encoder, quality, TRUE);
        copyTables(encoder, tables);
    };
    const bool done = guarded(info, errors, steps);
    jpeg_destroy_compress(&info);
    if (!done) throw std::runtime_error(errors.message);
    return tables;
}

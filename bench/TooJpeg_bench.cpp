// TooJpeg_bench.cpp - a grey picture to JPEG at quality 90, beside libjpeg-turbo with its defaults; base64.
#include "image/TooJpeg.h"

#include <algorithm>
#include <cmath>

#include "bench/frame_sizes.h"
#include "image/base64.h"

#if defined(LUMETRA_HAS_LIBJPEG)
#include <cstdio>
#include <cstdlib>

#include <jpeglib.h>
#endif

namespace {

// Soft shapes with a little noise, as cameras see them.
Bytes photoLike(const benchmark::State& state) {
    const auto width = static_cast<std::size_t>(state.range(0));
    Bytes picture = randomBytes(pixelsOf(state), 1);
    for (std::size_t i = 0; i < picture.size(); ++i) {
        const double x = static_cast<double>(i % width), y = static_cast<double>(i / width);
        const double soft = 128 + 60 * std::sin(x * 0.021 + y * 0.013) + 40 * std::sin(x * y * 0.0003);
        picture[i] = static_cast<std::uint8_t>(std::clamp(soft + picture[i] % 9 - 4.0, 0.0, 255.0));
    }
    return picture;
}

Bytes written;
void store(unsigned char byte) {
    written.push_back(byte);
}

void jpeg(benchmark::State& state) {
    const Bytes picture = photoLike(state);
    written.reserve(picture.size());
    for (auto _ : state) {
        written.clear();
        TooJpeg::writeJpeg(store, picture.data(), static_cast<unsigned short>(state.range(0)),
                           static_cast<unsigned short>(state.range(1)), false, 90, false, "Native");
    }
    state.counters["bytes"] = static_cast<double>(written.size());
}
BENCHMARK(jpeg)->Name("jpeg/engine")->Apply(frameSizes);

#if defined(LUMETRA_HAS_LIBJPEG)
void jpegTurbo(benchmark::State& state) {
    Bytes picture = photoLike(state);
    jpeg_compress_struct encoder;
    jpeg_error_mgr errors;
    encoder.err = jpeg_std_error(&errors);
    jpeg_create_compress(&encoder);
    unsigned char* out = static_cast<unsigned char*>(std::malloc(picture.size()));
    for (auto _ : state) {
        unsigned long size = picture.size();
        jpeg_mem_dest(&encoder, &out, &size);
        encoder.image_width = static_cast<unsigned>(state.range(0));
        encoder.image_height = static_cast<unsigned>(state.range(1));
        encoder.input_components = 1;
        encoder.in_color_space = JCS_GRAYSCALE;
        jpeg_set_defaults(&encoder);
        jpeg_set_quality(&encoder, 90, TRUE);
        jpeg_start_compress(&encoder, TRUE);
        while (encoder.next_scanline < encoder.image_height) {
            JSAMPROW row = picture.data() + encoder.next_scanline * encoder.image_width;
            jpeg_write_scanlines(&encoder, &row, 1);
        }
        jpeg_finish_compress(&encoder);
        state.counters["bytes"] = static_cast<double>(size);
    }
    jpeg_destroy_compress(&encoder);
    std::free(out);
}
BENCHMARK(jpegTurbo)->Name("jpeg/libjpeg-turbo")->Apply(frameSizes);
#endif

void base64(benchmark::State& state) {
    const Bytes bytes = randomBytes(static_cast<std::size_t>(state.range(0)), 1);
    for (auto _ : state)
        benchmark::DoNotOptimize(base64_encode(bytes.data(), static_cast<unsigned>(bytes.size())));
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(base64)->Name("base64/engine")->Arg(65536)->Arg(1048576);

}  // namespace

// TooJpeg_bench.cpp - a grey picture to JPEG at quality 90, beside libjpeg-turbo with its defaults; base64
// beside OpenSSL's; and both together with all else that a module's push does while the host looks on.
#include "image/jpeg/TooJpeg.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "LumetraCore/utf_conversion.h"
#include "bench/side_by_side.h"
#include "core/LumetraCoreExecutor.h"
#include "image/base64.h"

#if defined(LUMETRA_HAS_LIBJPEG)
#include "bench/peer_jpeg.h"
#endif
#if defined(LUMETRA_HAS_OPENSSL)
#include <openssl/evp.h>
#endif
#if defined(LUMETRA_HAS_LIBYUV)
#include <libyuv.h>
#endif

namespace {

// Soft shapes with a little noise, as cameras see them.
Bytes photoLike(FrameSize size) {
    Bytes picture = randomBytes(size.pixels(), 1);
    const auto width = static_cast<std::size_t>(size.width);
    for (std::size_t i = 0; i < picture.size(); ++i) {
        const double x = static_cast<double>(i % width), y = static_cast<double>(i / width);
        const double soft = 128 + 60 * std::sin(x * 0.021 + y * 0.013) + 40 * std::sin(x * y * 0.0003);
        picture[i] = static_cast<std::uint8_t>(std::clamp(soft + picture[i] % 9 - 4.0, 0.0, 255.0));
    }
    return picture;
}

void compareJpeg(FrameSize size) {
    const auto picture = std::make_shared<Bytes>(photoLike(size));
    const auto written = std::make_shared<Bytes>();
    written->reserve(picture->size());
    const auto store = [](void* file, const unsigned char* bytes, std::size_t count) {
        static_cast<Bytes*>(file)->insert(static_cast<Bytes*>(file)->end(), bytes, bytes + count);
    };
    Work peer;
#if defined(LUMETRA_HAS_LIBJPEG)
    peer = [=, jpeg = std::make_shared<PeerJpeg>()] { jpeg->encode(picture->data(), size, 90); };
#endif
    compare(
        "jpeg/" + size.name(),
        [=] {
            written->clear();
            TooJpeg::writeJpegInRuns(store, written.get(), picture->data(),
                                     static_cast<unsigned short>(size.width),
                                     static_cast<unsigned short>(size.height), false, 90, false, "Native");
        },
        peer);
}

void compareBase64(std::size_t count) {
    const auto bytes = std::make_shared<Bytes>(randomBytes(count, 1));
    Work peer;
#if defined(LUMETRA_HAS_OPENSSL)
    peer = [=] {
        std::string text(4 * ((count + 2) / 3) + 1, '\0');
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytes->data(),
                        static_cast<int>(count));
    };
#endif
    compare(
        "base64/" + std::to_string(count),
        [=] { benchmark::DoNotOptimize(base64_encode(bytes->data(), static_cast<unsigned>(count))); }, peer);
}

// Until pushImageData, which is refused: that part is the intake's, and measured there.
class Forwarding {
public:
    explicit Forwarding(FrameSize size) {
        m_engine.registerCallback(ENGINE_MODULE_ID, CB_LOG, nullptr, nullptr);
        m_engine.registerCallback(ENGINE_MODULE_ID, CB_HOSTTEXT, reinterpret_cast<void*>(&Forwarding::answer),
                                  nullptr);
        m_engine.configure((R"({"imageCfg":{"width":)" + std::to_string(size.width) + R"(,"height":)" +
                            std::to_string(size.height) + R"(},"format":4,"forwardNativeImage":true})")
                               .c_str());
        m_engine.invalidateConfiguration();
    }

    void push(const Bytes& frame) {
        LumetraCoreExecutor::pushNativeImage(&m_engine, frame.data(), static_cast<int>(frame.size()),
                                             R"({"camera":"front","exposure":0.008,"gain":1.5})", 1);
    }

private:
    static const char16_t* answer(void*, const char16_t*) { return u"{\"seen\":true}"; }

    LumetraCoreExecutor m_engine;
};

void compareForwarding(FrameSize size) {
    const Bytes luma = photoLike(size);
    const auto frame = std::make_shared<Bytes>(2 * size.pixels(), 128);
    for (std::size_t i = 0; i < luma.size(); ++i) (*frame)[2 * i] = luma[i];
    Work peer;
#if defined(LUMETRA_HAS_LIBJPEG) && defined(LUMETRA_HAS_LIBYUV) && defined(LUMETRA_HAS_OPENSSL)
    peer = [=, jpeg = std::make_shared<PeerJpeg>(), grey = std::make_shared<Bytes>(size.pixels())] {
        libyuv::YUY2ToY(frame->data(), 2 * size.width, grey->data(), size.width, size.width, size.height);
        jpeg->encode(grey->data(), size, 90);
        std::string text(4 * ((jpeg->size() + 2) / 3) + 1, '\0');
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), jpeg->data(),
                        static_cast<int>(jpeg->size()));
    };
#endif
    const auto run = [=](benchmark::State& state) {
        Forwarding forwarding(size);
        SideBySide times;
        for (auto _ : state)
            times.round(SideBySide::time([&] { forwarding.push(*frame); }),
                        peer ? SideBySide::time(peer) : 0);
        times.report(state);
    };
    benchmark::RegisterBenchmark(("module push/" + size.name()).c_str(), run)
        ->Unit(benchmark::kMicrosecond)
        ->MinTime(0.3);
}

const bool registered = [] {
    for (const FrameSize size : FRAME_SIZES) compareJpeg(size);
    for (const std::size_t count : {65536u, 1048576u}) compareBase64(count);
    for (const FrameSize size : FRAME_SIZES) compareForwarding(size);
    return true;
}();

}  // namespace

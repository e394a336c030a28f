// scene_producer.cpp - a camera for machines without one: a bright disc that circles over a gradient, the
// same bytes for the same frame number.
#include <cmath>
#include <numbers>

#include "frame_producer.h"

namespace {

class SceneProducer : public FrameProducer {
public:
    explicit SceneProducer(const CameraSettings& settings) : m_settings(settings) {}

    bool next(Bytes& frame) override {
        frame.resize(m_settings.frameBytes());
        const std::size_t step = bytesPerPixel(m_settings.format);
        const auto width = static_cast<float>(m_settings.width),
                   height = static_cast<float>(m_settings.height);
        const float angle = std::numbers::pi_v<float> * static_cast<float>(m_number++ % 180) / 90;
        const float centreX = width * (0.5F + 0.3F * std::cos(angle));
        const float centreY = height * (0.5F + 0.3F * std::sin(angle));
        const float radius = 0.15F * std::min(width, height);
        std::uint8_t* out = frame.data();
        for (std::int32_t y = 0; y < m_settings.height; ++y)
            for (std::int32_t x = 0; x < m_settings.width; ++x, out += step) {
                const float dx = static_cast<float>(x) - centreX, dy = static_cast<float>(y) - centreY;
                const bool inside = dx * dx + dy * dy < radius * radius;
                const std::int32_t luma = inside ? 230 : 40 + 120 * x / m_settings.width;
                writePixel(out, static_cast<std::uint8_t>(luma));
            }
        return true;
    }
    bool isPaced() const override { return false; }

private:
    void writePixel(std::uint8_t* out, std::uint8_t luma) const {
        constexpr std::uint8_t NO_COLOUR = 128, OPAQUE = 255;
        out[0] = luma;
        if (m_settings.format == LUMETRA_IMGFORMAT_GRAY8) return;
        out[1] = m_settings.format == LUMETRA_IMGFORMAT_YUYV ? NO_COLOUR : luma;
        if (m_settings.format == LUMETRA_IMGFORMAT_YUYV) return;
        out[2] = luma;
        if (m_settings.format == LUMETRA_IMGFORMAT_BGRA) out[3] = OPAQUE;
    }

    const CameraSettings m_settings;
    unsigned m_number = 0;
};

}  // namespace

std::unique_ptr<FrameProducer> makeSceneProducer(const CameraSettings& settings) {
    return std::make_unique<SceneProducer>(settings);
}

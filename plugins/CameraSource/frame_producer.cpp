// frame_producer.cpp - what is opened for which source: the scene, files and pipes.
#include "frame_producer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "support/moving_scene.h"
#include "support/pixel_format.h"

namespace {

class SceneProducer : public FrameProducer {
public:
    explicit SceneProducer(const CameraSettings& settings)
        : m_scene(settings.format, settings.width, settings.height) {}

    bool next(Bytes& frame) override {
        m_scene.draw(m_number++, frame);
        return true;
    }
    bool isPaced() const override { return false; }

private:
    MovingScene m_scene;
    std::uint32_t m_number = 0;
};

class FileProducer : public FrameProducer {
public:
    FileProducer(const CameraSettings& settings, const StopSignal& stop)
        : m_settings(settings), m_stop(stop) {
        // Not blocking, so that a pipe without a writer can still be stopped.
        m_file = open(settings.source.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        if (m_file < 0)
            throw std::runtime_error("Cannot open " + settings.source + ": " + std::strerror(errno));
        struct stat status = {};
        m_regular = fstat(m_file, &status) == 0 && S_ISREG(status.st_mode);
    }
    ~FileProducer() override { close(m_file); }
    FileProducer(const FileProducer&) = delete;
    FileProducer& operator=(const FileProducer&) = delete;

    bool next(Bytes& frame) override {
        frame.resize(m_settings.frameBytes());
        if (fill(frame)) return true;
        const bool again =
            m_settings.loop && m_regular && !m_stop.isRaised() && lseek(m_file, 0, SEEK_SET) == 0;
        return again && fill(frame);
    }
    bool isPaced() const override { return !m_regular; }

private:
    // A frame that the end cuts off is left out.
    bool fill(Bytes& frame) {
        std::size_t done = 0;
        while (done < frame.size()) {
            if (m_stop.waitReadable(m_file) != StopSignal::Wait::Readable) return false;
            const ssize_t got = read(m_file, frame.data() + done, frame.size() - done);
            if (got == 0) return false;
            if (got > 0) done += static_cast<std::size_t>(got);
            if (got < 0 && errno != EAGAIN && errno != EINTR)
                throw std::runtime_error("Cannot read " + m_settings.source + ": " + std::strerror(errno));
        }
        return true;
    }

    const CameraSettings m_settings;
    const StopSignal& m_stop;
    int m_file = -1;
    bool m_regular = false;
};

}  // namespace

bool CameraSettings::isValid() const {
    constexpr std::int32_t MAX_SIDE = 16384;
    return width >= 1 && height >= 1 && width <= MAX_SIDE && height <= MAX_SIDE && bytesPerPixel(format) > 0;
}

std::size_t CameraSettings::frameBytes() const {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * bytesPerPixel(format);
}

std::unique_ptr<FrameProducer> openProducer(const CameraSettings& settings, const StopSignal& stop) {
    if (settings.source == "scene") return std::make_unique<SceneProducer>(settings);
    if (isVideoDevice(settings.source)) return openVideoDevice(settings, stop);
    return std::make_unique<FileProducer>(settings, stop);
}

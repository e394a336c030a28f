// video_device_linux.cpp - frames from a V4L2 device, through buffers that its driver fills.
#include "video_device_linux.h"

#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <stdexcept>

#include "support/pixel_format.h"

namespace {

constexpr unsigned WANTED_BUFFERS = 4;

// ABGR32 and XBGR32 both lie in memory as B, G, R and a fourth byte.
std::vector<std::uint32_t> deviceFormats(LUMETRA_IMGFORMATTYPE format) {
    switch (format) {
        case LUMETRA_IMGFORMAT_RGB:
            return {V4L2_PIX_FMT_RGB24};
        case LUMETRA_IMGFORMAT_BGR:
            return {V4L2_PIX_FMT_BGR24};
        case LUMETRA_IMGFORMAT_BGRA:
            return {V4L2_PIX_FMT_ABGR32, V4L2_PIX_FMT_XBGR32};
        case LUMETRA_IMGFORMAT_GRAY8:
            return {V4L2_PIX_FMT_GREY};
        default:
            return {V4L2_PIX_FMT_YUYV};
    }
}

class VideoDevice : public FrameProducer {
public:
    VideoDevice(const CameraSettings& settings, const StopSignal& stop, const VideoDeviceCalls& calls)
        : m_settings(settings), m_stop(stop), m_calls(calls) {
        do m_file = m_calls.open(settings.source.c_str());
        while (m_file < 0 && errno == EINTR);
        if (m_file < 0) fail("cannot be opened");
        try {
            chooseFormat();
            askForRate();
            mapBuffers();
            int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
            if (!control(VIDIOC_STREAMON, &type)) fail("does not start");
        } catch (...) {
            release();
            throw;
        }
    }
    ~VideoDevice() override { release(); }
    VideoDevice(const VideoDevice&) = delete;
    VideoDevice& operator=(const VideoDevice&) = delete;

    bool next(Bytes& frame) override {
        frame.resize(m_settings.frameBytes());
        for (;;) {
            switch (m_stop.waitReadable(m_file)) {
                case StopSignal::Wait::Stopped:
                    return false;
                case StopSignal::Wait::Closed:
                    fail("was taken away");
                case StopSignal::Wait::TimeIsUp:
                case StopSignal::Wait::Readable:
                    break;
            }
            v4l2_buffer buffer = captureBuffer();
            if (!control(VIDIOC_DQBUF, &buffer)) {
                if (errno == EAGAIN || errno == EIO) continue;  // nothing yet, or one frame spoilt
                fail("stopped delivering");
            }
            const bool whole = copyRows(buffer, frame);
            if (!control(VIDIOC_QBUF, &buffer)) fail("took no buffer back");
            if (whole) return true;
        }
    }
    bool isPaced() const override { return true; }

private:
    struct Mapping {
        void* memory;
        std::size_t size;
    };

    [[noreturn]] void fail(const std::string& what) const {
        throw std::runtime_error(m_settings.source + " " + what + " (" + std::strerror(errno) + ")");
    }

    bool control(unsigned long request, void* data) const {
        int result = 0;
        do result = m_calls.ioctl(m_file, request, data);
        while (result < 0 && errno == EINTR);
        return result >= 0;
    }

    static v4l2_buffer captureBuffer(unsigned index = 0) {
        v4l2_buffer buffer = {};
        buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        buffer.memory = V4L2_MEMORY_MMAP;
        buffer.index = index;
        return buffer;
    }

    // A driver answers with the nearest it has, which is taken only if it is what was asked for.
    void chooseFormat() {
        for (const std::uint32_t pixelFormat : deviceFormats(m_settings.format)) {
            v4l2_format format = {};
            format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
            format.fmt.pix.width = static_cast<std::uint32_t>(m_settings.width);
            format.fmt.pix.height = static_cast<std::uint32_t>(m_settings.height);
            format.fmt.pix.pixelformat = pixelFormat;
            format.fmt.pix.field = V4L2_FIELD_NONE;
            const v4l2_pix_format& got = format.fmt.pix;
            if (!control(VIDIOC_S_FMT, &format) || got.pixelformat != pixelFormat ||
                got.width != static_cast<std::uint32_t>(m_settings.width) ||
                got.height != static_cast<std::uint32_t>(m_settings.height))
                continue;
            m_rowBytes = bytesPerPixel(m_settings.format) * got.width;
            m_rowStride = std::max<std::size_t>(got.bytesperline, m_rowBytes);
            return;
        }
        errno = EINVAL;
        fail("has no such size and format");
    }

    void askForRate() const {  // a device that cannot change its rate keeps it
        v4l2_streamparm parameters = {};
        parameters.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        parameters.parm.capture.timeperframe.numerator = 1000;
        parameters.parm.capture.timeperframe.denominator =
            static_cast<std::uint32_t>(std::lround(1000 * m_settings.framesPerSecond));
        control(VIDIOC_S_PARM, &parameters);
    }

    void mapBuffers() {
        v4l2_requestbuffers request = {};
        request.count = WANTED_BUFFERS;
        request.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        request.memory = V4L2_MEMORY_MMAP;
        if (!control(VIDIOC_REQBUFS, &request) || request.count == 0) fail("has no buffers to map");
        for (unsigned i = 0; i < request.count; ++i) {
            v4l2_buffer buffer = captureBuffer(i);
            if (!control(VIDIOC_QUERYBUF, &buffer)) fail("does not describe its buffers");
            void* const memory = m_calls.map(m_file, buffer.length, static_cast<long>(buffer.m.offset));
            if (memory == nullptr) fail("does not map its buffers");
            m_mappings.push_back({memory, buffer.length});
            if (!control(VIDIOC_QBUF, &buffer)) fail("takes no buffer");
        }
    }

    // False for a frame that is spoilt or does not fill its rows.
    bool copyRows(const v4l2_buffer& buffer, Bytes& frame) const {
        const auto rows = static_cast<std::size_t>(m_settings.height);
        const std::size_t needed = m_rowStride * (rows - 1) + m_rowBytes;
        if ((buffer.flags & V4L2_BUF_FLAG_ERROR) != 0 || buffer.index >= m_mappings.size() ||
            buffer.bytesused < needed || m_mappings[buffer.index].size < needed)
            return false;
        const auto* const source = static_cast<const std::uint8_t*>(m_mappings[buffer.index].memory);
        for (std::size_t y = 0; y < rows; ++y)
            std::memcpy(frame.data() + y * m_rowBytes, source + y * m_rowStride, m_rowBytes);
        return true;
    }

    void release() {
        int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        control(VIDIOC_STREAMOFF, &type);
        for (const Mapping& mapping : m_mappings) m_calls.unmap(mapping.memory, mapping.size);
        m_calls.close(m_file);
    }

    const CameraSettings m_settings;
    const StopSignal& m_stop;
    const VideoDeviceCalls m_calls;
    int m_file = -1;
    std::vector<Mapping> m_mappings;
    std::size_t m_rowBytes = 0, m_rowStride = 0;
};

}  // namespace

VideoDeviceCalls systemVideoDeviceCalls() {
    return {[](const char* path) { return ::open(path, O_RDWR | O_NONBLOCK | O_CLOEXEC); },
            [](int file) { return ::close(file); },
            [](int file, unsigned long request, void* data) { return ::ioctl(file, request, data); },
            [](int file, std::size_t size, long offset) -> void* {
                void* const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, offset);
                return memory == MAP_FAILED ? nullptr : memory;
            },
            [](void* memory, std::size_t size) { munmap(memory, size); }};
}

bool isVideoDevice(const std::string& path) {
    return path.starts_with("/dev/video");
}

std::unique_ptr<FrameProducer> openVideoDevice(const CameraSettings& settings, const StopSignal& stop,
                                               const VideoDeviceCalls& calls) {
    return std::make_unique<VideoDevice>(settings, stop, calls);
}

std::unique_ptr<FrameProducer> openVideoDevice(const CameraSettings& settings, const StopSignal& stop) {
    return openVideoDevice(settings, stop, systemVideoDeviceCalls());
}

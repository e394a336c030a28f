// media_source.cpp - whatever FFmpeg's libraries can open, one input after the other, as frames of one
// picture.
#include <cmath>
#include <filesystem>
#include <limits>

#include "tools/lumetra-play/inputs/frame_packer.h"
#include "tools/lumetra-play/inputs/frame_source.h"
#include "tools/lumetra-play/inputs/media_input.h"
#include "tools/lumetra-play/run/play_error.h"

namespace {

// One that must exist; a numbered series is a name for many.
bool isOrdinaryPath(const std::string& input, const Options& options) {
    return options.inputFormat.empty() && isPath(input) && input.find('%') == std::string::npos;
}

class MediaSource : public FrameSource {
public:
    MediaSource(const Options& options, const StopRequest& stop);

    SourceFacts facts() const override { return m_facts; }
    bool isLive() const override { return m_live; }
    bool read(Bytes& frame, double& seconds) override;
    std::string remark() const override { return m_remark; }
    std::string error() const override { return m_error; }

private:
    const AVFrame* openNext();
    bool advance();
    Picture pictureFor(const AVFrame& frame) const;
    double steadyTime(double seconds);

    const Options m_options;
    const StopRequest& m_stop;
    std::size_t m_next = 0;  // of the inputs
    std::unique_ptr<MediaInput> m_input;
    const AVFrame* m_waiting = nullptr;  // decoded already, to know the picture
    std::unique_ptr<FramePacker> m_packer;
    SourceFacts m_facts;
    std::string m_remark, m_error;
    bool m_live = false;
    double m_shift = 0, m_last = -std::numeric_limits<double>::infinity();  // of the frames' times
};

MediaSource::MediaSource(const Options& options, const StopRequest& stop) : m_options(options), m_stop(stop) {
    for (const std::string& input : options.inputs)
        if (isOrdinaryPath(input, options) && !std::filesystem::exists(input))
            throw systemError("cannot open " + input, ENOENT, "check the path");
    m_waiting = openNext();
    m_live = m_input->isLive();
    if (m_stop.requested() && m_waiting == nullptr) throw EndedEarly(m_stop.interrupted());
    if (m_waiting == nullptr) {
        const std::string damage = m_input->damage();
        if (m_input->facts().container.starts_with("mov") && m_input->isPipe())
            throw PlayError(m_input->facts().name +
                            " is an MP4 with its index at the end, and a pipe cannot go back: "
                            "name the file, or make it by ffmpeg with -movflags +faststart");
        if (m_options.start > 0 && damage.empty())
            throw PlayError("--start is behind the end of " + m_input->facts().name +
                            ": choose an earlier one");
        throw PlayError(m_input->facts().name + " holds no whole frame" +
                        (damage.empty() ? "" : " (" + damage + ")") + ": get the whole file" +
                        (!options.raw.empty() ? ", or check --size and --raw against it" : ""));
    }
    m_facts = m_input->facts();
    if (options.inputs.size() > 1)
        m_facts.name += " and " + std::to_string(options.inputs.size() - 1) + " more";
    m_picture = pictureFor(*m_waiting);
    requireUsableSize(m_picture.width, m_picture.height, m_picture.format);
    m_packer = std::make_unique<FramePacker>(m_picture, m_facts.rotation);
    m_facts.conversion = m_packer->describe(*m_waiting);
}

Picture MediaSource::pictureFor(const AVFrame& frame) const {
    Picture picture{LUMETRA_IMGFORMAT_RGB, frame.width, frame.height};
    if (m_facts.rotation % 180 != 0) std::swap(picture.width, picture.height);
    if (m_options.size && m_options.raw.empty()) {
        picture.width = m_options.size->width;
        picture.height = m_options.size->height;
    }
    picture.format = m_options.format.value_or(cheapestFormat(frame.format, m_facts.rotation));
    return picture;
}

// The first picture of the next input, if it has any.
const AVFrame* MediaSource::openNext() {
    m_input.reset();  // a device can be opened once only
    m_packer.reset();
    m_input = std::make_unique<MediaInput>(m_options.inputs[m_next++], m_options, m_stop);
    return m_options.start > 0 && !m_input->isLive() ? m_input->readFrom(m_options.start) : m_input->read();
}

bool MediaSource::read(Bytes& frame, double& seconds) try {
    while (m_waiting == nullptr) {
        m_waiting = m_input->read();
        if (m_waiting == nullptr && !advance()) return false;
    }
    if (!m_packer) m_packer = std::make_unique<FramePacker>(m_picture, m_input->facts().rotation);
    m_packer->pack(*m_waiting, frame);
    seconds = steadyTime(m_input->secondsOf(*m_waiting));
    m_waiting = nullptr;
    return true;
} catch (const EndedEarly&) {
    return false;  // what has been played is something to report
} catch (const PlayError& error) {
    m_error = error.what();
    return false;
}

// From an input that has ended to the next one, if there is one.
bool MediaSource::advance() {
    if (m_remark.empty()) m_remark = m_input->damage();
    if (m_stop.requested()) return false;
    if (m_next == m_options.inputs.size()) {
        const bool canBeginAgain = m_options.loop && m_options.inputs[0] != "-" && !m_live;
        if (!canBeginAgain || std::isinf(m_last)) return false;
        m_next = 0;
    }
    m_waiting = openNext();
    return true;
}

// Times begin again with every input, and some streams jump back: the next frame then follows by a period.
double MediaSource::steadyTime(double seconds) {
    constexpr double USUAL_RATE = 30;
    const double rate = m_facts.framesPerSecond > 0 ? m_facts.framesPerSecond : USUAL_RATE;
    if (seconds + m_shift <= m_last) m_shift = m_last + 1 / rate - seconds;
    return m_last = seconds + m_shift;
}

}  // namespace

std::unique_ptr<FrameSource> openMedia(const Options& options, const StopRequest& stop) {
    return std::make_unique<MediaSource>(options, stop);
}

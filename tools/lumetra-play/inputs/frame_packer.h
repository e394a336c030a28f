// frame_packer.h - decoded frames into the bytes of a picture that the engine takes: scaled and converted by
// libswscale where they have to be, turned upright, without padding. One thread.
#ifndef LUMETRA_PLAY_FRAME_PACKER_H
#define LUMETRA_PLAY_FRAME_PACKER_H

#include <array>
#include <string>

#include "tools/lumetra-play/inputs/ffmpeg.h"
#include "tools/lumetra-play/pixels/picture.h"

class FramePacker {
public:
    /// @param target    of the packed frames, after the rotation
    /// @param rotation  0, 90, 180 or 270 degrees clockwise
    /// @throws PlayError for a rotation of packed pixels, which do not stand alone
    FramePacker(const Picture& target, int rotation);

    /// Replaces `packed` by level 0. @throws PlayError if libswscale does not know the frame's pixels
    void pack(const AVFrame& frame, Bytes& packed);
    /// What pack() does to such frames, in words.
    std::string describe(const AVFrame& frame) const;

private:
    using Layout = std::array<int, 5>;  // AVPixelFormat, width, height, AVColorRange, AVColorSpace

    bool goesAsItIs(const AVFrame& frame) const;
    const AVFrame& scale(const AVFrame& frame);
    void makeScaler(const AVFrame& frame);

    Picture m_unturned;  // before the rotation
    const int m_rotation;
    ScalerPointer m_scaler;
    Layout m_scaledFrom{};  // what the scaler takes
    FramePointer m_scaled;
};

/// The engine's format that costs least for pixels of `pixels`, an AVPixelFormat.
LUMETRA_IMGFORMATTYPE cheapestFormat(int pixels, int rotation);

#endif

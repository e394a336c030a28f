// tag_search.cpp - the library's detector and what it found, owned.
#include "tag_search.h"

#include <stdexcept>

extern "C" {
#include <apriltag/apriltag.h>
#include <apriltag/tag16h5.h>
#include <apriltag/tag25h9.h>
#include <apriltag/tag36h11.h>
#include <apriltag/tagCircle21h7.h>
#include <apriltag/tagStandard41h12.h>
}

namespace {

struct Family {
    const char* name;
    apriltag_family_t* (*create)();
    void (*destroy)(apriltag_family_t*);
};

constexpr Family FAMILIES[] = {
    {"tag36h11", tag36h11_create, tag36h11_destroy},
    {"tag25h9", tag25h9_create, tag25h9_destroy},
    {"tag16h5", tag16h5_create, tag16h5_destroy},
    {"tagCircle21h7", tagCircle21h7_create, tagCircle21h7_destroy},
    {"tagStandard41h12", tagStandard41h12_create, tagStandard41h12_destroy},
};

const Family& familyOf(const std::string& name) {
    for (const Family& family : FAMILIES)
        if (family.name == name) return family;
    throw std::invalid_argument("there is no tag family " + name);
}

FoundTag tagOf(const apriltag_detection_t& detection) {
    FoundTag tag{detection.id, detection.hamming, static_cast<double>(detection.decision_margin), {}, {}};
    tag.centre = {detection.c[0], detection.c[1]};
    for (std::size_t corner = 0; corner < tag.corners.size(); ++corner)
        tag.corners[corner] = {detection.p[corner][0], detection.p[corner][1]};
    return tag;
}

}  // namespace

struct TagSearch::Detector {
    explicit Detector(const Family& described)
        : destroy(described.destroy), family(described.create()), detector(apriltag_detector_create()) {
        apriltag_detector_add_family(detector, family);
        // The frame's own levels are the smaller pictures, and a filter would write to shared pixels.
        detector->quad_decimate = 1;
        detector->quad_sigma = 0;
        detector->nthreads = 1;
    }
    ~Detector() {
        apriltag_detector_destroy(detector);
        destroy(family);
    }
    Detector(const Detector&) = delete;
    Detector& operator=(const Detector&) = delete;

    void (*const destroy)(apriltag_family_t*);
    apriltag_family_t* const family;
    apriltag_detector_t* const detector;
};

TagSearch::TagSearch(const std::string& family) : m_detector(std::make_unique<Detector>(familyOf(family))) {}

TagSearch::~TagSearch() = default;

bool TagSearch::isSearchable(const GreyLevel& level) {
    constexpr std::int32_t LEAST = 16, MOST = 8192;  // fewer than its tiles, or more than memory
    return level.width >= LEAST && level.height >= LEAST && level.width <= MOST && level.height <= MOST;
}

std::vector<FoundTag> TagSearch::find(const GreyLevel& level) {
    image_u8_t picture = {level.width, level.height, level.width,
                          const_cast<std::uint8_t*>(level.pixels)};  // only read
    const std::unique_ptr<zarray_t, decltype(&apriltag_detections_destroy)> detections(
        apriltag_detector_detect(m_detector->detector, &picture), apriltag_detections_destroy);
    std::vector<FoundTag> tags;
    for (int k = 0; k < zarray_size(detections.get()); ++k) {
        apriltag_detection_t* detection = nullptr;
        zarray_get(detections.get(), k, &detection);
        tags.push_back(tagOf(*detection));
    }
    return tags;
}

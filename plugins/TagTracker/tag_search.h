// tag_search.h - finds AprilTags in a grey level, by libapriltag. One thread at a time.
#ifndef LUMETRA_TAGTRACKER_TAG_SEARCH_H
#define LUMETRA_TAGTRACKER_TAG_SEARCH_H

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "support/grey_levels.h"

struct TagPoint {
    double x, y;
};

/// One tag, in pixels of the level that was searched: the centre of the first pixel is 0.5, 0.5.
struct FoundTag {
    int id, hamming;
    double margin;
    TagPoint centre;
    std::array<TagPoint, 4> corners;  ///< from the lower left to the lower right, as the tag is printed
};

class TagSearch {
public:
    /// @throws std::invalid_argument if there is no such family
    explicit TagSearch(const std::string& family);
    ~TagSearch();
    TagSearch(const TagSearch&) = delete;
    TagSearch& operator=(const TagSearch&) = delete;

    /// Whether the library takes pictures of that size.
    static bool isSearchable(const GreyLevel& level);
    /// Reads the pixels where they are, without a copy. @param level  searchable
    std::vector<FoundTag> find(const GreyLevel& level);

private:
    struct Detector;
    std::unique_ptr<Detector> m_detector;
};

#endif

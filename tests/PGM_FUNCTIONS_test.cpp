#include <gmock/gmock.h>

#include <climits>
#include <cstdlib>

#include "image/PGM_FUNCTIONS_internal.h"
#include "tests/support/frames.h"
#include "tests/support/temporary_folder.h"

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

namespace {

class ImageFiles : public testing::Test {
protected:
    void write(const std::string& content) { folder.write("image", content); }
    std::string content() const { return folder.read("image"); }

    // What a reader makes of the file: size and the first samples, or what it printed.
    template <class Reader>
    std::string read(Reader reader, std::size_t samples) {
        int width = 2, height = 1;  // what a size line that does not parse leaves
        CaptureStdout();
        unsigned char* const image = reader(path.c_str(), &width, &height);
        const std::string printed = GetCapturedStdout();
        if (image == nullptr) return printed;
        std::string text = std::to_string(width) + "x" + std::to_string(height);
        for (std::size_t i = 0; i < samples; ++i) text += " " + std::to_string(image[i]);
        std::free(image);
        return text + printed;
    }

    const TemporaryFolder folder;
    std::string path = folder.file("image");
};

}  // namespace

TEST_F(ImageFiles, AreWrittenToTheByte) {
    unsigned char samples[] = {0, 10, 13, 127, 128, 255, 1, 2, 3, 4, 5, 6};
    const std::string bytes(samples, samples + 12);
    EXPECT_EQ(0, write_pgm(path.c_str(), "debug", samples, 3, 2));
    EXPECT_EQ("P5\n#debug\n3 2\n255\n" + bytes.substr(0, 6), content());
    EXPECT_EQ(0, write_ppm(path.c_str(), "", samples, 2, 2));
    EXPECT_EQ("P6\n#\n2 2\n255\n" + bytes, content());
    EXPECT_EQ(0, write_pgm(path.c_str(), "c", nullptr, 0, 5));
    EXPECT_EQ("P5\n#c\n0 5\n255\n", content());
    EXPECT_EQ(0, write_pgm(path.c_str(), "c", nullptr, INT_MIN, 3)) << "the product wraps below 1";
}

TEST_F(ImageFiles, ThatCannotBeOpenedAreReportedByWritersOnly) {
    path = folder.file("missing/image");
    const std::string message = "PGM_FUNCTIONS error: Couldn't open " + path + " for writing\n";
    for (const auto writer : {write_pgm, write_ppm}) {
        CaptureStdout();
        EXPECT_EQ(-1, writer(path.c_str(), "c", nullptr, 1, 1));
        EXPECT_EQ(message, GetCapturedStdout());
    }
    EXPECT_EQ("", read(read_pgm, 0));
    EXPECT_EQ("", read(read_ppm, 0));
}

TEST_F(ImageFiles, AreReadWithTheirCommentsAndRescaled) {
    const std::string longComment = "#" + std::string(600, 'x');  // longer than a line the reader takes
    const struct {
        std::string file, expected;
        std::size_t samples;
    } cases[] = {
        {"P5\n2 1\n255\n\x01\xFF", "2x1 1 255", 2},
        {"P5\n#one\n#two\n\n\r\n2 1\n255\n\x01\x02", "2x1 1 2", 2},
        {"P5\n  2\t 1 # size\n255 # maximum\n\x01\x02", "2x1 1 2", 2},
        {"P5\n2 1\n15\n\x0F\x01", "2x1 240 16", 2},
        {std::string("P5\n2 1\n65535\n\xFF\x00", 14), "2x1 0 0", 2},
        {"P5\n2 1\n-1\n\xFF\x01", "2x1 0 0", 2},
        {"P5\n2 1\n0\n\x01\x02", "2x1 0 0", 2},
        {"P5\n2 1\n-2\n\x01\x02", "2x1 0 0", 2},
        {"P5\n2 1\n2147483647\n\x01\x02", "2x1 0 0", 2},
        {"P5\n3 1\n255\n\x07", "3x1 7 255 255", 3},
        {"P5\n3 1\n15\n\x01", "3x1 16 240 240", 3},
        {"P5\n-2 -1\n255\n\x01\x02", "-2x-1 1 2", 2},
        {"P5\n0 7\n255\n", "0x7", 0},
        {"P5\n3\n255\n\x01\x02\x03", "3x1 1 2 3", 3},
        {"P5\nx 3\n255\n\x01\x02", "2x1 1 2", 2},
        {"P5\n1 1\nx\n\x01", "1x1 1", 1},
        {"P5\n" + longComment.substr(0, 255) + "\n1 1\n255\n\x05", "1x1 5", 1},
    };
    for (const auto& [file, expected, samples] : cases) {
        write(file);
        EXPECT_EQ(expected, read(read_pgm, samples)) << file.substr(0, 40);
    }
    write("P6\n2 2\n255\nabcdefghijkl");
    EXPECT_EQ("2x2 97 98 99 100 101 102 103 104 105 106 107 108", read(read_ppm, 12));
}

TEST_F(ImageFiles, ThatAreNoneAreRefused) {
    for (const char* const header :
         {"", "P", "P5", "P5 2 1\n255\n\x01\x02", "P5\r\n1 1", "P6\n1 1\n255\n\x01", "p5\n1 1\n255\n", "P5\n",
          "P5\n#only", "P5\n1 1\n", "P5\n99999999999 1\n255\n", "P5\n1 1\n99999999999\n\x01"}) {
        write(header);
        EXPECT_EQ(path + " Not a PGM file\n", read(read_pgm, 0)) << header;
    }
    write("P5\n1 1\n255\n\x01");
    EXPECT_EQ(path + " Not a PPM file\n", read(read_ppm, 0));
}

TEST_F(ImageFiles, WhoseSizeCannotBeAllocatedAreRefused) {
    write("P5\n2147483647 -2147483647\n255\n");
    EXPECT_EQ("READ_PGM() error: Couldn't malloc image\n", read(read_pgm, 0));
    for (const char* size : {"40000 40000", "2147483647 2147483647", "1000 -1000", "-5 1"}) {
        write(std::string("P6\n") + size + "\n255\n");
        EXPECT_EQ("READ_PPM() error: Couldn't malloc image\n", read(read_ppm, 0)) << size;
    }
}

TEST_F(ImageFiles, ComeBackAsTheyWereWritten) {
    Bytes samples = randomBytes(37 * 21 * 3, 10);
    int width = 0, height = 0;
    write_ppm(path.c_str(), "c", samples.data(), 37, 21);
    unsigned char* const image = read_ppm(path.c_str(), &width, &height);
    ASSERT_NE(nullptr, image);
    EXPECT_EQ(37, width);
    EXPECT_EQ(21, height);
    EXPECT_TRUE(std::equal(samples.begin(), samples.end(), image));
    std::free(image);
}

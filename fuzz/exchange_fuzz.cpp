// exchange_fuzz.cpp - frames that a module pushes and the host answers. An input's first line has width,
// height and letters: f forwarding, y YUYV (else RGB), e the host echoes, n it answers null. Its second line
// is the module's descriptor, the rest the host's answer.
#include <algorithm>
#include <vector>

#include "base/process_wide.h"
#include "base/utf8_repair.h"
#include "fuzz/support/fuzzing.h"
#include "image/picture_encoder.h"
#include "image/text_exchange.h"
#include "tests/support/configurations.h"

using namespace lumetra;

namespace {

const struct Encoder {
    Encoder() { processWide<PictureEncoder>().allocate(); }  // as an engine does
} encoder;
bool echoes, answersNull;
std::u16string shown, answer;

const char16_t* host(void*, const char16_t* text) {
    shown = text;
    if (echoes) answer = text;
    return answersNull ? nullptr : answer.c_str();
}

// The last member is the picture: base64 of what begins as a JPEG does.
void checkPicture(std::string_view object, bool hasPixels) {
    constexpr std::string_view NAME = "\"image\":\"";
    const std::size_t start = object.rfind(NAME);
    require(start != std::string_view::npos && object.ends_with("\"}"), "a picture comes last");
    object.remove_suffix(2);
    const std::string_view picture = object.substr(start + NAME.size());
    require(hasPixels ? picture.starts_with("/9j/") && picture.size() % 4 == 0 : picture.empty(),
            "a picture is a JPEG in base64");
}

}  // namespace

void runInput(std::string_view input) {
    int width = 0, height = 0;
    char letters[5] = {};
    std::sscanf(std::string(takeLine(input)).c_str(), "%d %d %4s", &width, &height, letters);
    width = std::clamp(width, -1, 100);
    height = std::clamp(height, -1, 100);
    const auto has = [&](char letter) { return std::string_view(letters).find(letter) != std::string::npos; };
    const bool forwards = has('f'), yuyv = has('y');
    answersNull = has('n');
    echoes = has('e') && !answersNull;
    const std::string descriptor = std::string(takeLine(input)).c_str();
    answer = answersNull || echoes ? u"" : textOf(input);

    ICfg cfg = configurationOf(width, height, yuyv ? LUMETRA_IMGFORMAT_YUYV : LUMETRA_IMGFORMAT_RGB);
    cfg.forwardNativeImage = forwards;
    const bool hasPixels = width >= 1 && height >= 1;
    const std::vector<unsigned char> frame(
        hasPixels ? static_cast<std::size_t>((yuyv ? 2 : 3) * width * height) : 0, 0x5A);
    const bool areTexts = repairUtf8(descriptor) == descriptor && isValidText(answer);
    std::string kept;
    try {
        kept = exchangeText(&host, descriptor.c_str(), frame.data(), cfg);
        require(areTexts || forwards,
                "text that is none is refused");  // forwarded, it may be no JSON before that
    } catch (const std::range_error&) {
        require(!areTexts, "valid text is taken");
        return;
    }

    const std::string seen = convertUTFFormatVto8<char16_t, char>(shown);
    require(forwards ? isValidJson(seen) : seen == descriptor, "the host sees JSON, or the text as it is");
    if (forwards && yuyv && seen.starts_with('{')) checkPicture(seen, hasPixels);

    const std::string answered = convertUTFFormatVto8<char16_t, char>(answer);
    require(forwards ? isValidJson(kept) : kept == answered, "a frame keeps JSON, or the answer as it is");
    if (echoes && !yuyv) require(kept == answered, "what was written once is written so again");
}

// Reads arbitrary bytes as a frame description and its data file, and as text
// matrices without description. Whatever is read must be whole: a frame of the size
// and type its description gives, and integer frames encode back to the same pixels.
#include "framefile.h"
#include "fuzzinput.h"

#include <cstring>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // Description text up to the first NUL byte, data file after it.
    const char* text = reinterpret_cast<const char*>(data);
    const void* nul = std::memchr(data, 0, size);
    const size_t textSize = nul ? size_t(static_cast<const uint8_t*>(nul) - data) : size;
    const std::string description(text, textSize);
    const char* bytes = nul ? text + textSize + 1 : text + size;
    const size_t byteCount = nul ? size - textSize - 1 : 0;

    sim::Description d;
    std::string error;
    if (sim::parseDescription(description, "fuzz", &d, &error) == 0) {
        FUZZ_CHECK(d.fileType == 2 || d.fileType == 3 || d.fileType == 4);
        FUZZ_CHECK(d.fileType == 4 || d.frames.size() == 1);
        for (size_t i = 0; i < d.frames.size() && i < 8; ++i) {
            const sim::FrameEntry& e = d.frames[i];
            FUZZ_CHECK(uint64_t(e.width) * e.height <= sim::kMaxFramePixels);
            if (e.offset > byteCount || e.bytes > byteCount - e.offset)
                continue;
            sim::FrameData frame;
            if (sim::decodeFrame(e, d.form, bytes + e.offset, size_t(e.bytes), &frame, &error) != 0)
                continue;
            FUZZ_CHECK(frame.width == e.width && frame.height == e.height);
            FUZZ_CHECK(
                frame.pixels.size() == size_t(e.width) * e.height * sim::pixelBytes(e.dataType));
            if (e.dataType == 9)
                continue; // NaN payloads need not survive text
            sim::FrameView view;
            view.dataType = frame.dataType;
            view.width = frame.width;
            view.height = frame.height;
            view.pixels = frame.pixels.data();
            std::string encoded;
            uint64_t entries = 0;
            FUZZ_CHECK(sim::encodeFrame(view, d.form, &encoded, &entries, &error));
            sim::FrameEntry again = e;
            again.offset = 0;
            again.bytes = encoded.size();
            again.entries = entries;
            sim::FrameData back;
            FUZZ_CHECK(
                sim::decodeFrame(again, d.form, encoded.data(), encoded.size(), &back, &error)
                == 0);
            FUZZ_CHECK(back.pixels == frame.pixels);
        }
    }

    // The same bytes as text matrices without description.
    const int matrices = sim::parseTextMatrices(text, size, -1, nullptr, &error);
    FUZZ_CHECK(matrices == -1 || matrices >= 1);
    if (matrices >= 1) {
        sim::FrameData frame;
        FUZZ_CHECK(sim::parseTextMatrices(text, size, matrices - 1, &frame, &error) == 0);
        FUZZ_CHECK(frame.pixels.size()
            == size_t(frame.width) * frame.height * sim::pixelBytes(frame.dataType));
    }
    return 0;
}

#pragma once

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "Words.h"

namespace examples {

/// A waveform as an SVG picture, one lane per channel. Lengths are in pixels.
class Picture {
public:
    explicit Picture(int inWidth) : mWidth(inWidth) {}

    /// @param inPeaks  the maximum and minimum of each pixel.
    void Lane(const std::string& inName, const std::vector<float>& inPeaks) {
        const int middle = mTop + kLane / 2;
        float highest = 0;
        mText += Print("<rect x=\"%d\" y=\"%d\" width=\"%d\" height=\"%d\" rx=\"4\" fill=\"#f2f5f8\"/>\n",
                       kLeft, mTop, mWidth, kLane);
        mText += "<path stroke=\"#2a6fb0\" d=\"";
        for (std::size_t i = 0; i + 1 < inPeaks.size(); i += 2) {
            mText += Print("M%zu.5 %.1fV%.1f", kLeft + i / 2, Y(middle, inPeaks[i]) - 0.5,
                           Y(middle, inPeaks[i + 1]) + 0.5);
            highest = std::max({highest, inPeaks[i], -inPeaks[i + 1]});
        }
        mText += Print("\"/>\n<text x=\"%d\" y=\"%d\">%s</text>\n", kGap, middle, inName.c_str());
        mText += Print("<text x=\"%d\" y=\"%d\" fill=\"#6b7a88\">%s</text>\n", kGap, middle + 20,
                       DecibelText(highest).c_str());
        mTop += kLane + kGap;
    }

    /// Returns whether the file could be written.
    bool Save(const std::string& inPath) const {
        std::FILE* const file = std::fopen(inPath.c_str(), "wb");
        if (file == nullptr)
            return false;
        const int printed =
            std::fprintf(file,
                         "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%d\" height=\"%d\" "
                         "font-family=\"DejaVu Sans, Helvetica, Arial, sans-serif\" font-size=\"12\">\n"
                         "<rect width=\"100%%\" height=\"100%%\" fill=\"#ffffff\"/>\n%s</svg>\n",
                         kLeft + mWidth + kGap, mTop, mText.c_str());
        return std::fclose(file) == 0 && printed > 0;
    }

private:
    static constexpr int kLeft = 150, kLane = 130, kGap = 10;

    static double Y(int inMiddle, float inLevel) {
        const double level = std::isfinite(inLevel) ? std::clamp(inLevel, -1.0f, 1.0f) : 0.0f;
        return inMiddle - level * (kLane / 2.0 - 2);
    }

    int mWidth;
    int mTop = kGap;
    std::string mText;
};

} // namespace examples

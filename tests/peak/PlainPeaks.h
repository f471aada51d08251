#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "kelaudiofile/PeakData.h"
#include "kelaudiofile/ResamplePeakData.h"
#include "support/MemoryStream.h"

namespace testing_support {

/// A peak timeline as a flat list of blocks in order of offset, slow and plain: what PeakData is held
/// against. Gaps may occur, overlaps and segments without datums not.
struct PlainPeaks {
    struct Block {
        std::int64_t start, size;
        kelaudiofile::PeakDatum datum;
        bool opensSegment;
        std::int64_t End() const { return start + size; }
    };

    std::int64_t start = 0;
    std::vector<Block> blocks;

    std::int64_t End() const { return blocks.empty() ? start : blocks.back().End(); }
    std::int64_t Duration() const { return End() - start; }

    void Append(std::int64_t inStart, std::int64_t inSize,
                const std::vector<kelaudiofile::PeakDatum>& inDatums) {
        bool opens = true;
        for (const auto& datum : inDatums) {
            blocks.push_back({inStart, inSize, datum, std::exchange(opens, false)});
            inStart += inSize;
        }
        Consolidate();
    }
    void SetStart(std::int64_t inStart) {
        start = inStart;
        Chain();
    }
    void Split(std::int64_t inOffset) {
        if (inOffset < start || inOffset > End())
            return;
        for (std::size_t i = 0; i < blocks.size(); ++i) {
            Block& block = blocks[i];
            if (block.start == inOffset)
                block.opensSegment = true;
            if (block.start < inOffset && inOffset < block.End()) {
                const Block right{inOffset, block.End() - inOffset, block.datum, true};
                block.size = inOffset - block.start;
                block.opensSegment = true;
                if (i + 1 < blocks.size())
                    blocks[i + 1].opensSegment = true;
                blocks.insert(At(i + 1), right);
            }
        }
    }
    void Insert(const PlainPeaks& inSource) {
        Split(inSource.start);
        blocks.insert(At(std::min(BorderAt(inSource.start), blocks.size())), inSource.blocks.begin(),
                      inSource.blocks.end());
        Chain();
        Consolidate();
    }
    void Overwrite(const PlainPeaks& inSource) {
        if (!inSource.blocks.empty() && inSource.start >= start && inSource.End() <= End()) {
            Split(inSource.start);
            Split(inSource.End());
            const std::size_t first = BorderAt(inSource.start);
            if (first < blocks.size()) {
                const std::size_t last = std::min(BorderAt(inSource.End()), blocks.size());
                blocks.erase(At(first), At(last));
                blocks.insert(At(first), inSource.blocks.begin(), inSource.blocks.end());
            }
        }
        Consolidate();
    }
    void RippleDelete(std::size_t inFirst, std::size_t inLast, bool inRight) {
        if (inFirst < inLast && IsBorder(inFirst) && IsBorder(inLast)) {
            if (inRight)
                start += (inLast < blocks.size() ? blocks[inLast].start : End()) - blocks[inFirst].start;
            blocks.erase(At(inFirst), At(inLast));
        }
        Chain();
        Consolidate();
    }
    void Zero(std::size_t inFirst, std::size_t inLast) {
        for (std::size_t i = inFirst; i < inLast; ++i)
            blocks[i].datum = {};
    }
    PlainPeaks Range(std::size_t inFirst, std::size_t inLast) const {
        PlainPeaks range;
        range.start = inFirst < blocks.size() ? blocks[inFirst].start : End();
        for (std::size_t i = inFirst; i < inLast; ++i) {
            range.blocks.push_back(blocks[i]);
            range.blocks.back().opensSegment |= i == inFirst;
        }
        range.Chain();
        return range;
    }
    /// What loading the image of this into a container that starts at the same offset gives.
    void Reload() {
        const std::int64_t kept = std::exchange(start, 0);
        Chain();
        start = kept;
    }

    /// The index of the block, the number of blocks for the end.
    std::size_t Find(std::int64_t inOffset) const {
        if (inOffset < start || inOffset >= End())
            return blocks.size();
        std::size_t found = 0;
        while (found + 1 < blocks.size() && blocks[found + 1].start <= inOffset)
            ++found;
        return found;
    }

    /// The stream that holds these blocks.
    Bytes Image() const {
        Bytes image;
        Put(image, static_cast<std::uint32_t>(std::count_if(
                       blocks.begin(), blocks.end(), [](const Block& block) { return block.opensSegment; })));
        for (std::size_t i = 0; i < blocks.size(); ++i) {
            if (blocks[i].opensSegment) {
                std::uint32_t count = 1;
                while (i + count < blocks.size() && !blocks[i + count].opensSegment)
                    ++count;
                Put(image, count);
                Put(image, blocks[i].size);
            }
            Put(image, blocks[i].datum.min);
            Put(image, blocks[i].datum.max);
        }
        return image;
    }

    /// Block by block, lap by lap.
    std::vector<float> Resample(double inStart, double inStep, std::uint64_t inCount, bool inLoop) const {
        std::vector<float> out(2 * inCount);
        const double duration = static_cast<double>(Duration());
        double p = inStart;
        std::uint64_t k = 0;
        if (inLoop && !(p >= static_cast<double>(start) && p < static_cast<double>(End())))
            p = std::fmod(std::fmod(p, duration) + duration, duration);
        else if (p <= -inStep)
            k = static_cast<std::uint64_t>(
                std::min(std::floor(std::fabs(p) / inStep), static_cast<double>(inCount)));
        std::uint32_t wrap = 0;
        const double q = static_cast<double>(k) * inStep + p;
        std::size_t it = q < 0.0 ? 0 : q < 0x1p63 ? Find(static_cast<std::int64_t>(q)) : blocks.size();
        const auto end = [&] { return static_cast<double>(blocks[it].End() + wrap); };
        const auto step = [&] {
            if (++it == blocks.size() && inLoop) {
                it = 0;
                wrap += static_cast<std::uint32_t>(Duration());
            }
        };
        for (std::uint64_t i = k; i < inCount && it != blocks.size(); ++i) {
            float low = blocks[it].datum.min, high = blocks[it].datum.max;
            const double bound = static_cast<double>(i + 1) * inStep + p;
            while (it != blocks.size() && bound > end()) {
                step();
                if (it != blocks.size()) {
                    low = blocks[it].datum.min < low ? blocks[it].datum.min : low;
                    high = blocks[it].datum.max > high ? blocks[it].datum.max : high;
                }
            }
            if (it != blocks.size() && bound == end())
                step();
            out[2 * i] = high;
            out[2 * i + 1] = low;
        }
        return out;
    }

    bool IsBorder(std::size_t inIndex) const {
        return inIndex >= blocks.size() || blocks[inIndex].opensSegment;
    }

private:
    std::vector<Block>::iterator At(std::size_t inIndex) {
        return blocks.begin() + static_cast<std::ptrdiff_t>(inIndex);
    }
    std::size_t BorderAt(std::int64_t inOffset) const {
        return static_cast<std::size_t>(
            std::find_if(blocks.begin(), blocks.end(),
                         [=](const Block& block) { return block.opensSegment && block.start == inOffset; }) -
            blocks.begin());
    }
    void Chain() {
        std::int64_t offset = start;
        for (Block& block : blocks) {
            block.start = offset;
            offset = block.End();
        }
    }
    void Consolidate() {
        for (std::size_t i = 1; i < blocks.size(); ++i)
            if (blocks[i].size == blocks[i - 1].size && blocks[i].start == blocks[i - 1].End())
                blocks[i].opensSegment = false;
    }
    template <typename T>
    static void Put(Bytes& ioImage, T inValue) {
        unsigned char bytes[sizeof inValue];
        std::memcpy(bytes, &inValue, sizeof inValue);
        ioImage.insert(ioImage.end(), bytes, bytes + sizeof inValue);
    }
};

inline bool SameBits(float a, float b) {
    return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b);
}

/// Where a container and its model differ; empty where they don't.
inline std::string Difference(const kelaudiofile::PeakData& inData, const PlainPeaks& inPlain) {
    if (inData.GetStartOffset() != inPlain.start || inData.GetEndOffset() != inPlain.End())
        return "start or end";
    if (inData.GetDuration() != (inPlain.blocks.empty() ? 0 : inPlain.Duration()))
        return "duration";
    if (inData.size() != inPlain.blocks.size() || inData.empty() != inPlain.blocks.empty())
        return "size";
    auto it = inData.begin();
    for (std::size_t i = 0; i < inPlain.blocks.size(); ++i, ++it) {
        const PlainPeaks::Block& block = inPlain.blocks[i];
        if (it.GetStartOffset() != block.start || it.GetEndOffset() != block.End())
            return "offsets of block " + std::to_string(i);
        if (!SameBits((*it).min, block.datum.min) || !SameBits((*it).max, block.datum.max))
            return "datum of block " + std::to_string(i);
    }
    if (it != inData.end())
        return "end of the walk";
    MemoryFileOutput stream;
    inData.WriteToStream(stream);
    return stream.bytes == inPlain.Image() ? "" : "segments";
}

/// Where resampled points differ from the model's; empty where they don't.
inline std::string ResamplingDifference(const std::shared_ptr<kelaudiofile::PeakData>& inData,
                                        const PlainPeaks& inPlain, double inStart, double inStep,
                                        std::uint64_t inCount, bool inLoop) {
    constexpr float kSentinel = 12345.0f;
    const std::vector<float> expected = inPlain.Resample(inStart, inStep, inCount, inLoop);
    std::vector<float> got(2 * inCount + 1, kSentinel);
    kelaudiofile::ResamplePeakData(inData, inStart, inStep, inCount, got.data(), inLoop);
    for (std::size_t i = 0; i < expected.size(); ++i)
        if (!SameBits(got[i], expected[i]))
            return "float " + std::to_string(i) + ": " + std::to_string(got[i]) + " for " +
                   std::to_string(expected[i]);
    return got.back() == kSentinel ? "" : "written past the last point";
}

} // namespace testing_support

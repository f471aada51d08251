#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <utility>

/// What edits do with a timeline's pieces in order of offset, be they segments or runs of blocks that will
/// become segments.
namespace kelaudiofile::detail {

/// From one offset up to another, wrapping as all offset arithmetic does.
constexpr std::uint64_t Distance(std::int64_t inFrom, std::int64_t inTo) noexcept {
    return static_cast<std::uint64_t>(inTo) - static_cast<std::uint64_t>(inFrom);
}

/// Whether one piece goes on where another ends.
template <typename Before, typename Piece>
bool Continues(const Before& inBefore, const Piece& inPiece) {
    return inBefore.GetBlockSize() == inPiece.GetBlockSize() &&
           inBefore.GetEndOffset() == inPiece.GetStartOffset();
}

/// Makes each piece start where the one before it ends, the first at the offset given.
template <typename Pieces>
void Chain(Pieces& ioPieces, std::int64_t inStartOffset) {
    for (auto& piece : ioPieces) {
        piece.SetStartOffset(inStartOffset);
        inStartOffset = piece.GetEndOffset();
    }
}

/// The first piece that starts at an offset; the end if none does.
template <typename Pieces>
auto StartingAt(Pieces& inPieces, std::int64_t inOffset) {
    return std::find_if(inPieces.begin(), inPieces.end(),
                        [=](const auto& piece) { return piece.GetStartOffset() == inOffset; });
}

/// Cuts the piece that an offset lies inside of, unless a piece before it begins at the offset or behind.
template <typename Pieces>
void SplitAt(Pieces& ioPieces, std::int64_t inOffset) {
    for (auto piece = ioPieces.begin(); piece != ioPieces.end() && piece->GetStartOffset() < inOffset;
         ++piece) {
        if (inOffset >= piece->GetEndOffset())
            continue;
        if (Pieces cut = piece->Split(inOffset); !cut.empty()) {
            *piece = std::move(cut.front());
            ioPieces.insert(piece + 1, std::move_iterator(cut.begin() + 1), std::move_iterator(cut.end()));
        }
        return;
    }
}

} // namespace kelaudiofile::detail

#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/// The inner loops of scaling by separate passes, in a portable way and by SIMD. All ways give the
/// same results to the last bit: those for bytes count with integers, and those for all other
/// samples add up in the same order, without fused operations.
namespace za::imaging {

/// Where an output position's taps are, and its weights among all those of an axis.
struct Taps {
    int left;
    int count;
    std::size_t weights;
};

/// What lies behind each row that a kernel reads or writes, to be read or overwritten freely.
constexpr std::size_t kRowSlack = 64;

/// A piece of work along rows, on several rows at a time. `Value` is what weights and results are.
template <typename Source, typename Value>
struct Horizontal {
    const Source* const* rows;  ///< as many as a kernel does at a time
    int channels;
    int origin;  ///< the pixel that the rows start with
    int width;   ///< the number of pixels from 0 to the rows' end
    int begin;   ///< the first pixel that the taps need
    int end;     ///< behind the last one
    const Taps* taps;
    int outputs;
    const Value* weights;
    int shift;              ///< of the sums, to the right
    Value* const* results;  ///< with slack
    void* scratch;
};

/// The greatest weight of a fixed point. It is somewhat less than 16 bits hold: what is left
/// without the low byte, as a signed number, still fits into a byte.
constexpr int kMaxFixedWeight = 127 * 256 + 127;

/// Where the taps of some neighbouring outputs are among the bytes from `base` on, and their
/// weights, as a kernel wants them.
struct TapLookup {
    struct Block {
        int base;
        int reach;  ///< bytes from there on
        int groups;
        std::size_t at;  ///< in `bytes`
    };
    std::vector<Block> blocks;
    std::vector<signed char> bytes;
};

/// For samples of 8 bits, with weights of a fixed point. Along x whole groups of taps start at a
/// multiple of their size; weights beyond the image's end are 0. Neither a sum nor a result
/// overflows.
struct ByteKernels {
    using Work = Horizontal<unsigned char, std::int16_t>;

    std::size_t rows;   ///< at a time
    int taps;           ///< a group along x
    std::size_t bytes;  ///< that a sample takes when it is prepared for the horizontal pass
    /// The scratch memory that is needed for so many pixels from `begin` to `end`; it starts at a
    /// multiple of 64.
    std::size_t (*scratchSize)(int pixels, int channels);
    /// Brings the weights along x into the order that `horizontal` wants; may be null.
    void (*arrange)(std::int16_t* weights, std::size_t count);
    void (*horizontal)(const Work& work);
    /// Adds up rows of so many values, an even number of rows, and shifts the sums.
    /// @{
    void (*vertical)(const std::int16_t* const* rows, const std::int16_t* weights, int count,
                     int shift, std::size_t values, std::int16_t* results);
    void (*verticalToBytes)(const std::int16_t* const* rows, const std::int16_t* weights, int count,
                            int shift, std::size_t values, unsigned char* results);
    /// @}
    /// A faster way along x for one channel; null where there is none. The lookup is made before
    /// `arrange`, and has no blocks when the taps are too far from each other. `first` is the
    /// number of the first output.
    /// @{
    TapLookup (*makeLookup)(const std::vector<Taps>& taps, const std::int16_t* weights);
    void (*horizontalByLookup)(const Work& work, const TapLookup& lookup, int first);
    /// @}
};

/// For all others, decoded. There are no taps but those that contribute.
struct WideKernels {
    using Work = Horizontal<double, double>;
    static constexpr std::size_t kMaxRows = 8;

    std::size_t rows;  ///< at a time, at most kMaxRows
    std::size_t (*scratchSize)(int pixels, int channels);
    void (*horizontal)(const Work& work);
    void (*vertical)(const double* const* rows, const double* weights, int count,
                     std::size_t values, double* results);
};

struct ScalingKernels {
    ByteKernels bytes;
    WideKernels wide;
};

const ScalingKernels& portableScalingKernels();
/// Null where the processor lacks the instructions.
/// @{
const ScalingKernels* avx2ScalingKernels();
const ScalingKernels* avx512ScalingKernels();  ///< with VNNI
/// @}
/// The fastest that this processor has.
const ScalingKernels& fastestScalingKernels();

}  // namespace za::imaging

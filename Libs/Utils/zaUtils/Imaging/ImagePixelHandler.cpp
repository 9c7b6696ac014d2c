#include "zaUtils/Imaging/ImagePixelHandler.h"

#include "zaUtils/Imaging/Internal/SampleTypes.h"

namespace {

using za::imaging::PixelFormat;
using za::imaging::withSampleType;

/// The samples that contribute, and their weights.
struct Box {
    std::size_t channels, width, height;
    std::size_t xLeft, yLeft, zLeft, xRight, yRight, zRight;
    const double *xWeights, *yWeights, *zWeights;
};

/// The weighted sum of `valueAt(index of the pixel's first sample)`.
template <typename Function>
double sumOver(const Box& box, const Function& valueAt) {
    double sum = 0.0;
    for (std::size_t z = box.zLeft; z <= box.zRight; ++z) {
        double plane = 0.0;
        for (std::size_t y = box.yLeft; y <= box.yRight; ++y) {
            std::size_t index = ((z * box.height + y) * box.width + box.xLeft) * box.channels;
            double row = 0.0;
            for (std::size_t x = box.xLeft; x <= box.xRight; ++x, index += box.channels)
                row += box.xWeights[x - box.xLeft] * valueAt(index);
            plane += box.yWeights[y - box.yLeft] * row;
        }
        sum += box.zWeights[z - box.zLeft] * plane;
    }
    return sum;
}

template <typename Type>
double sumOf(const unsigned char* source, const PixelFormat& format, std::size_t channel,
             const Box& box) {
    const auto value = [=](std::size_t i) { return Type::value(source, i + channel); };
    if (format.isAlpha(static_cast<int>(channel)) || (!format.hasAlpha && !format.isEncoded))
        return sumOver(box, value);
    const auto light = [=, lights = Type::lights()](std::size_t i) {
        return lights.at(source, i + channel);
    };
    if (!format.hasAlpha) return sumOver(box, light);

    const std::size_t last = box.channels - 1;
    const auto opacity = [=](std::size_t i) { return Type::value(source, i + last); };
    const double sum = format.isEncoded
                           ? sumOver(box, [=](std::size_t i) { return light(i) * opacity(i); })
                           : sumOver(box, [=](std::size_t i) { return value(i) * opacity(i); });
    return za::imaging::unmultiplied(sum, sumOver(box, opacity), Type::kFull);
}

std::size_t sizeOf(int number) {
    return static_cast<std::size_t>(number);
}

}  // namespace

std::size_t ImagePixelHandler::getSampleSize(Sample sample) {
    return withSampleType(sample, [](auto type) { return decltype(type)::kSize; });
}

double ImagePixelHandler::read(const unsigned char* source, int channels, int width, int height,
                               int channel, int xLeft, int yLeft, int zLeft, int xRight, int yRight,
                               int zRight, const double* xWeights, const double* yWeights,
                               const double* zWeights) {
    const PixelFormat format(*this, channels);
    const Box box = {sizeOf(channels), sizeOf(width), sizeOf(height), sizeOf(xLeft),
                     sizeOf(yLeft),    sizeOf(zLeft), sizeOf(xRight), sizeOf(yRight),
                     sizeOf(zRight),   xWeights,      yWeights,       zWeights};
    return withSampleType(_sample, [&](auto type) {
        return sumOf<decltype(type)>(source, format, sizeOf(channel), box);
    });
}

void ImagePixelHandler::write(double value, unsigned char* destination, int channels, int width,
                              int height, int channel, int x, int y, int z) {
    const PixelFormat format(*this, channels);
    const std::size_t row = sizeOf(z) * sizeOf(height) + sizeOf(y);
    const std::size_t index =
        (row * sizeOf(width) + sizeOf(x)) * sizeOf(channels) + sizeOf(channel);
    withSampleType(_sample, [&](auto type) {
        if (format.isEncoded && !format.isAlpha(channel))
            decltype(type)::setLight(destination, index, value);
        else
            decltype(type)::set(destination, index, value);
    });
}

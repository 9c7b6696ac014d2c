#pragma once

#include "zaUtils/Imaging/ImagePixelHandler.h"

/// Hides from the scaler that there are pixels to be read and written, so that it goes the way that
/// fits any handler, sample by sample.
class PerSample : public ImageScaler::ValueHandler {
public:
    explicit PerSample(const ImagePixelHandler& pixels) : _pixels(pixels) {}

    double read(const unsigned char* source, int channels, int width, int height, int channel,
                int xLeft, int yLeft, int zLeft, int xRight, int yRight, int zRight,
                const double* x, const double* y, const double* z) override {
        return _pixels.read(source, channels, width, height, channel, xLeft, yLeft, zLeft, xRight,
                            yRight, zRight, x, y, z);
    }
    void write(double value, unsigned char* destination, int channels, int width, int height,
               int channel, int x, int y, int z) override {
        _pixels.write(value, destination, channels, width, height, channel, x, y, z);
    }

private:
    ImagePixelHandler _pixels;
};

#include "zaUtils/Imaging/ImageScaling.h"

#include "zaUtils/Imaging/ImageScaler.h"
#include "zaUtils/Logging/zaLog.h"

namespace {

using Kernel = std::unique_ptr<ImageGenericFilter>;

template <typename Filter>
Kernel make() {
    return std::make_unique<Filter>();
}

struct NamedKernel {
    const char* name;
    Kernel (*make)();
};

constexpr NamedKernel kKernels[] = {
    {"box", make<ImageBoxFilter>},
    {"linear", make<ImageLinearFilter>},
    {"gaussian", make<ImageGaussianFilter>},
    {"hamming", make<ImageHammingFilter>},
    {"blackman", make<ImageBlackmanFilter>},
    {"lanczos3", []() -> Kernel { return std::make_unique<ImageLanczos3Filter>(3.0); }}};

}  // namespace

const std::vector<std::string>& ImageScaling::getKernelNames() {
    static const std::vector<std::string>& names = *[] {
        auto* all = new std::vector<std::string>;  // never destroyed
        for (const NamedKernel& kernel : kKernels)
            all->emplace_back(kernel.name);
        return all;
    }();
    return names;
}

Kernel ImageScaling::makeKernel(const std::string& name, double width) {
    for (const NamedKernel& known : kKernels) {
        if (name != known.name) continue;
        Kernel kernel = known.make();
        if (width != kUsualWidth) kernel->setWidth(width);
        return kernel;
    }
    return nullptr;
}

bool ImageScaling::scale(const void* source, const Layout& layout, void* destination,
                         const Size& size, const std::string& kernel, double width) {
    const Kernel filter = makeKernel(kernel, width);
    if (!filter) {
        zaLog::error("ImageScaling: no kernel is named \"%s\"", kernel.c_str());
        return false;
    }
    if (!source || !destination) {
        zaLog::error("ImageScaling: no image");
        return false;
    }
    ImagePixelHandler pixels(layout.sample, layout.options);
    return ImageScaler::scale({static_cast<const unsigned char*>(source)},
                              {static_cast<unsigned char*>(destination)}, layout.width,
                              layout.height, layout.depth, size.width, size.height, size.depth,
                              layout.channels, pixels, *filter);
}

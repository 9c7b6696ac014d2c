#pragma once

#include <memory>
#include <string>
#include <vector>

#include "zaUtils/Api.h"
#include "zaUtils/Imaging/ImageGenericFilter.h"
#include "zaUtils/Imaging/ImagePixelHandler.h"

/// `ImageScaler` in two lines, for one image or volume and a kernel that has a name.
///
/// ```
/// const ImageScaling::Layout photo = {4096, 3072, 1, 3, ImagePixelHandler::Sample::UInt8};
/// ImageScaling::scale(pixels, photo, thumbnail, {160, 120, 1}, "lanczos3");
/// ```
class ZAUTILS_API ImageScaling {
public:
    struct Size {
        int width;
        int height;
        int depth;
    };

    /// What lies in memory, as `ImagePixelHandler` has it.
    struct Layout {
        int width;
        int height;
        int depth;
        int channels;
        ImagePixelHandler::Sample sample;
        unsigned int options = 0;
    };

    /// 3 for "lanczos3", which is the width that it is known by, and the default of its class for
    /// all others. Where an image is enlarged, kernels of a width of less than 1 leave output
    /// positions that nothing contributes to: these become 0.
    static constexpr double kUsualWidth = -1.0;

    ImageScaling() = delete;

    /// "box", "linear", "gaussian", "hamming", "blackman", "lanczos3".
    static const std::vector<std::string>& getKernelNames();

    /// The kernel of that name; null for any other.
    static std::unique_ptr<ImageGenericFilter> makeKernel(const std::string& name,
                                                          double width = kUsualWidth);

    /// Scales `source` into `destination`, which has the same channels and samples; no null
    /// pointers. All else is as with `ImageScaler::scale`.
    /// @return false, with an error in the log, for a name that no kernel has, too
    static bool scale(const void* source, const Layout& layout, void* destination, const Size& size,
                      const std::string& kernel, double width = kUsualWidth);
};

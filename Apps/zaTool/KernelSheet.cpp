#include "KernelSheet.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>

#define STB_EASY_FONT_IMPLEMENTATION
#include <stb/stb_easy_font.h>

namespace {

constexpr int kPanel = 208;      // the longer side of what is shown
constexpr int kEnlargement = 8;  // of the middle
constexpr int kMargin = 8;
constexpr int kLine = 24;  // for a text
constexpr int kTextScale = 2;
constexpr unsigned char kPaper = 255, kInk = 0;

std::size_t indexOf(const Picture& picture, int x, int y) {
    return (static_cast<std::size_t>(y) * static_cast<std::size_t>(picture.layout.width) +
            static_cast<std::size_t>(x)) *
           static_cast<std::size_t>(picture.layout.channels);
}

Picture blank(int width, int height) {
    Picture picture;
    picture.layout = {width, height, 1, 3, ImagePixelHandler::Sample::UInt8, 0};
    picture.pixels.assign(bytesOf(picture.layout), kPaper);
    return picture;
}

/// Copies a rectangle that lies within both.
void copy(const Picture& from, int fromX, int fromY, Picture& to, int toX, int toY, int width,
          int height) {
    for (int y = 0; y < height; ++y) {
        const auto row =
            from.pixels.begin() + static_cast<std::ptrdiff_t>(indexOf(from, fromX, fromY + y));
        std::copy(row, row + 3 * static_cast<std::ptrdiff_t>(width),
                  to.pixels.begin() + static_cast<std::ptrdiff_t>(indexOf(to, toX, toY + y)));
    }
}

void write(Picture& picture, int left, int top, std::string text) {
    struct Corner {
        float x, y, z;
        unsigned char colour[4];
    };
    Corner corners[4 * 256];
    const std::ptrdiff_t quads =
        stb_easy_font_print(0, 0, text.data(), nullptr, corners, sizeof corners);
    for (const Corner* corner = corners; corner < corners + 4 * quads; corner += 4) {
        for (int y = int(corner[0].y) * kTextScale; y < int(corner[2].y) * kTextScale; ++y) {
            for (int x = int(corner[0].x) * kTextScale; x < int(corner[2].x) * kTextScale; ++x) {
                if (left + x < picture.layout.width && top + y < picture.layout.height)
                    std::fill_n(picture.pixels.begin() + static_cast<std::ptrdiff_t>(
                                                             indexOf(picture, left + x, top + y)),
                                3, kInk);
            }
        }
    }
}

/// The size within a panel that has the picture's proportions.
ImageScaling::Size fitted(const ImageScaling::Layout& layout) {
    const double scale = static_cast<double>(kPanel) / std::max(layout.width, layout.height);
    const auto scaled = [=](int size) {
        return std::max(1, static_cast<int>(std::lround(size * scale)));
    };
    return {scaled(layout.width), scaled(layout.height), 1};
}

/// The middle that fills a panel of that size when it is enlarged.
Picture middleOf(const Picture& picture, const ImageScaling::Size& panel) {
    const int width = std::clamp(panel.width / kEnlargement, 1, picture.layout.width);
    const int height = std::clamp(panel.height / kEnlargement, 1, picture.layout.height);
    Picture middle = blank(width, height);
    copy(picture, (picture.layout.width - width) / 2, (picture.layout.height - height) / 2, middle,
         0, 0, width, height);
    return middle;
}

bool show(const Picture& picture, const std::string& kernel, double width,
          const ImageScaling::Size& size, Picture& sheet, int x, int y) {
    Picture panel = blank(size.width, size.height);
    if (!ImageScaling::scale(picture.pixels.data(), picture.layout, panel.pixels.data(), size,
                             kernel, width))
        return false;
    copy(panel, 0, 0, sheet, x, y, size.width, size.height);
    return true;
}

}  // namespace

Picture makeKernelSheet(const Picture& picture, double width) {
    const Picture colours = toColours(picture);
    const ImageScaling::Size panel = fitted(colours.layout);
    const Picture middle = middleOf(colours, panel);
    const auto& kernels = ImageScaling::getKernelNames();
    const int column = std::max(panel.width, 8 * kLine) + kMargin;
    const int secondRow = 3 * kMargin + 2 * kLine + panel.height;
    Picture sheet = blank(kMargin + column * static_cast<int>(kernels.size()),
                          secondRow + kLine + panel.height + kMargin);
    const std::string from = std::to_string(colours.layout.width) + "x" +
                             std::to_string(colours.layout.height) + " to " +
                             std::to_string(panel.width) + "x" + std::to_string(panel.height);
    const std::string times = std::to_string(kEnlargement) + " times, from the middle";
    int x = kMargin;
    for (const std::string& kernel : kernels) {
        write(sheet, x, kMargin, kernel);
        if (!show(colours, kernel, width, panel, sheet, x, kMargin + 2 * kLine) ||
            !show(middle, kernel, width, panel, sheet, x, secondRow + kLine))
            return {};
        x += column;
    }
    write(sheet, kMargin, kMargin + kLine, from);
    write(sheet, kMargin, secondRow, times);
    return sheet;
}

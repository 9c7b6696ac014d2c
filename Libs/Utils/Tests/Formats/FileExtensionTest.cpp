#include <gtest/gtest.h>

#include "zaUtils/Formats/zaFileExtension.h"

namespace {

using Set = std::set<std::string>;
using Map = zaFileExtension::ExtensionMap;

/// The images share "dat" with a format whose name sorts before theirs.
zaFileExtension someFormats() {
    zaFileExtension formats;
    formats.addFormat("images", {"png", "TIF", "dat"});
    formats.addFormat("Volumes", {"dat", "nii.gz"});
    return formats;
}

TEST(FileExtension, FormatsAreAddedReplacedAndRemovedByName) {
    zaFileExtension formats = someFormats();
    const zaFileExtension before = formats;
    EXPECT_FALSE(formats.addFormat("images", {"bmp"}));
    EXPECT_EQ(formats.getExtensionMap(), before.getExtensionMap());
    EXPECT_EQ(formats.getExtensionsString(", *."), "TIF, *.dat, *.nii.gz, *.png");
    EXPECT_TRUE(formats.addFormat("IMAGES", {}));
    EXPECT_TRUE(formats.subFormat("Volumes"));
    EXPECT_FALSE(formats.subFormat("Volumes"));
    formats.replaceFormat("images", {"bmp"});
    formats.replaceFormat("new", {"n"});
    EXPECT_EQ(formats.getExtensionMap(),
              (Map{{"IMAGES", {}}, {"images", {"bmp"}}, {"new", {"n"}}}));

    formats.addFormats(before);  // keeps its own images
    EXPECT_EQ(formats.getNames(), (Set{"IMAGES", "Volumes", "images", "new"}));
    EXPECT_EQ(formats.getExtensions("images"), Set{"bmp"});
    EXPECT_EQ(formats.getExtensions("Volumes"), (Set{"dat", "nii.gz"}));
    EXPECT_EQ(formats.getExtensions("unknown"), Set{});
}

TEST(FileExtension, OnlyFileNamesAreComparedWithoutRegardToCase) {
    const zaFileExtension formats = someFormats();
    EXPECT_TRUE(formats.hasExtension("TIF"));
    EXPECT_FALSE(formats.hasExtension("tif"));
    EXPECT_EQ(formats.getName("png"), "images");
    EXPECT_EQ(formats.getName("PNG"), "");
    EXPECT_EQ(formats.getName("dat"), "Volumes");
    EXPECT_TRUE(formats.checkFilename(u8"C:\\a.b\\größe.PNG"));
    EXPECT_TRUE(formats.checkFilename("a.tif"));
    EXPECT_FALSE(formats.checkFilename("a.png/b.pn"));
    EXPECT_FALSE(formats.checkFilename("a.nii.gz"));  // a file's extension holds no dot
}

}  // namespace

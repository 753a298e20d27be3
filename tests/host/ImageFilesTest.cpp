#include <cairo.h>
#include <gtest/gtest.h>

#include "host/ImageFiles.h"
#include "support/TestEnvironment.h"

namespace velmora::host {
namespace {

using velmora::testing::TempDir;

TEST(ImageDirectory, NamesEachFileAfterItsPlaceWithoutClashes) {
  TempDir tmp;
  cairo_surface_t* pixels = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 6, 6);
  const Image image(2.0, 2.0, 3, pixels);
  cairo_surface_destroy(pixels);

  const Result<std::unique_ptr<ImageDirectory>> opened = ImageDirectory::open(tmp.path() / "new" / "dir");
  ASSERT_TRUE(opened) << opened.message();
  ImageDirectory& images = **opened;
  EXPECT_EQ(images.write(image, "1-GroupMetrics.requestX-ringsImage"),
            (tmp.path() / "new/dir/1-GroupMetrics.requestX-ringsImage.png").string());
  EXPECT_EQ(images.write(image, "ringsImage"), (tmp.path() / "new/dir/ringsImage.png").string());
  EXPECT_EQ(images.write(image, "ringsImage"), (tmp.path() / "new/dir/ringsImage-2.png").string());
  EXPECT_EQ(images.write(image, "../a b"), (tmp.path() / "new/dir/.._a_b.png").string());
  EXPECT_TRUE(std::filesystem::is_regular_file(tmp.path() / "new/dir/ringsImage-2.png"));

  // A file that cannot be written stops the writing, and says why.
  const Image empty(2.0, 2.0, 3, nullptr);
  EXPECT_EQ(images.write(empty, "empty"), "");
  EXPECT_EQ(images.write(image, "after"), "");
  EXPECT_FALSE(std::filesystem::exists(tmp.path() / "new/dir/after.png"));
  EXPECT_EQ(images.status().message(),
            "--images: " + (tmp.path() / "new/dir/empty.png").string() + ": the image has no pixels");
  EXPECT_FALSE(ImageDirectory::open(tmp.path() / "new/dir/ringsImage.png"));  // a file, not a directory
}

}  // namespace
}  // namespace velmora::host

#include <cairo.h>
#include <gtest/gtest.h>

#include "host/Errors.h"
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

  ImageDirectory images(tmp.path() / "new" / "dir");
  EXPECT_EQ(images.write(image, "1-GroupMetrics.requestX-ringsImage"),
            (tmp.path() / "new/dir/1-GroupMetrics.requestX-ringsImage.png").string());
  EXPECT_EQ(images.write(image, "ringsImage"), (tmp.path() / "new/dir/ringsImage.png").string());
  EXPECT_EQ(images.write(image, "ringsImage"), (tmp.path() / "new/dir/ringsImage-2.png").string());
  EXPECT_EQ(images.write(image, "../a b"), (tmp.path() / "new/dir/.._a_b.png").string());
  EXPECT_TRUE(std::filesystem::is_regular_file(tmp.path() / "new/dir/ringsImage-2.png"));

  const Image empty(2.0, 2.0, 3, nullptr);
  EXPECT_THROW(images.write(empty, "empty"), CommandError);
  EXPECT_THROW(ImageDirectory(tmp.path() / "new/dir/ringsImage.png"), CommandError);  // a file, not a directory
}

}  // namespace
}  // namespace velmora::host

#include "camera/LMPipViewController.h"

#include "platform/foundation/Clock.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedDisplay.h"
#include "platform/host/device/SimulatedScreens.h"
#include "platform/host/media/CameraPicture.h"
#include "platform/host/services/SimulatedMedia.h"
#include "tests/harness/Harness.h"

#include <gtest/gtest.h>

#include <cmath>
#include <optional>

namespace lumora::test {
namespace {

using platform::host::Bitmap;
using platform::host::CameraPicture;

class CameraPictureTest : public ::testing::Test {
protected:
    void SetUp() override { device().screens().setMainScreen({ { 0, 0 }, { 320, 568 } }, 1); }
    static platform::host::SimulatedDevice& device() { return platform::host::SimulatedDevice::shared(); }

    static bool near(const platform::host::Pixel& pixel, const CameraPicture::Colour& colour)
    {
        constexpr double kTolerance = 0.1;
        return pixel.alpha > 0.9 && std::abs(pixel.red - colour.red) < kTolerance
            && std::abs(pixel.green - colour.green) < kTolerance && std::abs(pixel.blue - colour.blue) < kTolerance;
    }

    // The first row of column `x` of `snapshot` in the bar's colour, if any.
    static std::optional<int> barRow(const Bitmap& snapshot, int x)
    {
        for (int y = 0; y < snapshot.height(); ++y) {
            if (near(snapshot.pixelAt(x, y), CameraPicture::Bar)) {
                return y;
            }
        }
        return std::nullopt;
    }
};

TEST_F(CameraPictureTest, ThePreviewShowsTheFrontCamerasPictureOfTheMomentWhileItsSessionRuns)
{
    const auto pip = std::make_shared<LMPipViewController>();
    const auto view = pip->view();
    // A fifth of the screen: 64 × 113.6 points, filled by a 3:4 picture
    // 85.2 points wide whose sides overhang.
    const double pictureHeight = view->bounds().size.height;
    const auto expectedBarRow
        = [pictureHeight] { return CameraPicture::barTopAt(platform::Clock::uptime()) * pictureHeight; };
    // Left of the face: only the background and the bar.
    constexpr int kColumn = 4;

    const auto first = device().display().snapshotView(*view);
    ASSERT_FALSE(first.isEmpty());
    const auto firstBar = barRow(first, kColumn);
    ASSERT_TRUE(firstBar);
    EXPECT_NEAR(*firstBar, expectedBarRow(), 1.5);
    EXPECT_TRUE(near(first.pixelAt(kColumn, (*firstBar + 40) % first.height()), CameraPicture::Background));
    // Below the mouth, out of the hand's reach: the face, unless the bar passes there now.
    const int chin = static_cast<int>(0.7 * pictureHeight);
    EXPECT_TRUE(near(first.pixelAt(first.width() / 2, chin), CameraPicture::Face) || std::abs(*firstBar - chin) < 8);

    // The picture moves on with the device clock, and only with it.
    EXPECT_EQ(barRow(device().display().snapshotView(*view), kColumn), firstBar);
    device().advanceClock(0.5);
    const auto later = barRow(device().display().snapshotView(*view), kColumn);
    ASSERT_TRUE(later);
    EXPECT_NE(*later, *firstBar);
    EXPECT_NEAR(*later, expectedBarRow(), 1.5);

    // A stopped session, or a camera the user no longer allows, shows nothing.
    pip->stopPipSession();
    EXPECT_EQ(device().display().snapshotView(*view).pixelAt(kColumn, 50).alpha, 0);
    pip->startPipSession();
    EXPECT_TRUE(barRow(device().display().snapshotView(*view), kColumn));
    device().media().setCameraAuthorized(false);
    EXPECT_EQ(device().display().snapshotView(*view).pixelAt(kColumn, 50).alpha, 0);
}

} // namespace
} // namespace lumora::test

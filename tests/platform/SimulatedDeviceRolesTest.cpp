#include "platform/foundation/KeyValueObserving.h"
#include "platform/foundation/Runtime.h"
#include "platform/host/device/SimulatedApplication.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedHardware.h"
#include "platform/host/device/SimulatedRestrictions.h"
#include "platform/host/device/SimulatedScreens.h"
#include "platform/media/AudioSession.h"
#include "platform/system/Application.h"
#include "platform/system/DeviceRestrictions.h"
#include "platform/system/ExternalScreen.h"
#include "platform/system/NotificationCenter.h"
#include "platform/ui/RootWindow.h"
#include "platform/ui/Screen.h"
#include "platform/ui/ViewController.h"
#include "platform/ui/Window.h"
#include "tests/harness/Harness.h"

#include <gtest/gtest.h>

namespace lumora::platform {
namespace {

host::SimulatedDevice& device()
{
    return host::SimulatedDevice::shared();
}

class SizeListener : public ViewController {
public:
    void viewWillTransitionToSize_withTransitionCoordinator(
        Size size, const std::shared_ptr<TransitionCoordinator>& coordinator) override
    {
        sizes.push_back(size);
        coordinator->animateAlongsideTransition_completion(nullptr, [this](const auto&) { ++completions; });
    }
    std::vector<Size> sizes;
    int completions = 0;
};

TEST(SimulatedDeviceRoles, TurningTheDeviceTurnsTheInterfaceUnlessAWindowLocksIt)
{
    device().screens().setMainScreen({ { 0, 0 }, { 320, 568 } }, 2);
    const auto listener = std::make_shared<SizeListener>();
    const auto window = std::make_shared<Window>(Rect { { 0, 0 }, { 320, 568 } });
    window->setRootViewController(listener);
    window->makeKeyAndVisible();

    window->beginDisablingInterfaceAutorotation();
    window->endDisablingInterfaceAutorotation();
    window->endDisablingInterfaceAutorotation(); // unbalanced: ignored
    window->beginDisablingInterfaceAutorotation();
    device().hardware().rotateTo(DeviceOrientation::LandscapeLeft);
    EXPECT_TRUE(listener->sizes.empty());
    EXPECT_EQ(Device::currentDevice()->orientation(), DeviceOrientation::LandscapeLeft);

    window->endDisablingInterfaceAutorotation();
    device().hardware().rotateTo(DeviceOrientation::FaceUp);
    device().hardware().rotateTo(DeviceOrientation::LandscapeRight);
    ASSERT_EQ(listener->sizes, (std::vector<Size> { { 568, 320 } }));
    EXPECT_EQ(Screen::mainScreen()->bounds().size, (Size { 568, 320 }));
    EXPECT_EQ(listener->view()->frame().size, (Size { 568, 320 }));
    EXPECT_EQ(listener->completions, 0);
    device().advanceClock(1);
    test::drainMainQueue();
    EXPECT_EQ(listener->completions, 1);
}

TEST(SimulatedDeviceRoles, SizeTransitionsAndMemoryWarningsReachChildViewControllers)
{
    class Child final : public SizeListener {
    public:
        void didReceiveMemoryWarning() override { ++warnings; }
        int warnings = 0;
    };
    const auto container = std::make_shared<ViewController>();
    const auto child = std::make_shared<Child>();
    container->addChildViewController(child);
    const auto window = std::make_shared<Window>(Rect { { 0, 0 }, { 320, 568 } });
    window->setRootViewController(container);
    window->makeKeyAndVisible();

    device().application().transitionToSize({ 100, 200 }, 0);
    device().application().simulateMemoryWarning();
    EXPECT_EQ(child->sizes, (std::vector<Size> { { 100, 200 } }));
    EXPECT_EQ(child->warnings, 1);
    EXPECT_EQ(window->frame().size, (Size { 100, 200 }));
}

TEST(SimulatedDeviceRoles, SteeringPostsTheMatchingNotificationsAndResetForgetsEverything)
{
    std::vector<std::string> posted;
    const auto observer = std::make_shared<Object>();
    for (const auto name :
        { ExternalScreen::CurrentTypeDidChangeNotification, DeviceRestrictions::EffectiveSettingsChangedNotification,
            Application::WillResignActiveNotification, Application::DidBecomeActiveNotification }) {
        NotificationCenter::defaultCenter().addObserver(
            observer, std::string(name), [&](const Notification& n) { posted.push_back(n.name); });
    }
    device().screens().setExternalScreenType(ExternalScreenType::WiredTVOut);
    device().restrictions().setEffectiveBoolValue(DeviceRestrictions::AllowScreenRecordingSetting, 2);
    device().application().resignActive();
    device().application().resignActive(); // already inactive
    device().application().becomeActive();
    EXPECT_EQ(posted.size(), 4U);
    EXPECT_EQ(ExternalScreen::currentExternalScreenType(), ExternalScreenType::WiredTVOut);

    device().application().setShellRootWindowClassPresent(true);
    ASSERT_NE(Runtime::classNamed(RootWindow::ShellRootWindowClassName), nullptr);
    const auto shellWindow = device().application().addShellRootWindow();
    EXPECT_TRUE(shellWindow->isKindOfClassNamed("RootWindow"));
    device().screens().removeMainScreen();

    device().reset();
    EXPECT_EQ(ExternalScreen::currentExternalScreenType(), ExternalScreenType::None);
    EXPECT_EQ(DeviceRestrictions::effectiveBoolValueForSetting(DeviceRestrictions::AllowScreenRecordingSetting),
        DeviceRestrictions::BoolValueYes);
    EXPECT_EQ(Runtime::classNamed(RootWindow::ShellRootWindowClassName), nullptr);
    EXPECT_TRUE(Application::sharedApplication()->windows().empty());
    EXPECT_NE(Screen::mainScreen(), nullptr);
}

TEST(SimulatedDeviceRoles, TheAudioSessionRefusesAnAbsentOrUnknownCategory)
{
    const auto session = AudioSession::sharedInstance();
    EXPECT_NE(session->setCategory_withOptions(std::nullopt, 1), nullptr);
    EXPECT_NE(session->setCategory_withOptions("Loud", 1), nullptr);
    EXPECT_EQ(session->category(), AudioSession::CategorySoloAmbient);
    EXPECT_EQ(session->setCategory_withOptions(std::string(AudioSession::CategoryRecord), 5), nullptr);
    EXPECT_EQ(session->categoryOptions(), 5U);
}

class Counter final : public KeyValueObservable {
public:
    Value valueForKey(const std::string& key) const override { return key == "count" ? Value(count) : Value(); }
    void set(int value)
    {
        willChangeValueForKey("count");
        count = value;
        didChangeValueForKey("count");
    }
    int count = 0;
};

TEST(KeyValueObserving, ObserversSeeOldAndNewValuesUntilTheirTokenGoes)
{
    Counter counter;
    std::vector<std::pair<std::int64_t, std::int64_t>> seen;
    std::shared_ptr<void> second;
    auto first = counter.addObserverForKey("count",
        KeyValueObservable::OptionOld | KeyValueObservable::OptionNew | KeyValueObservable::OptionInitial,
        [&](const std::string&, const KeyValueChange& change) {
            seen.emplace_back(change.oldValue.int64Value(), change.newValue.int64Value());
            second.reset(); // removing another observer while being told
        });
    second = counter.addObserverForKey("count", 0, [&](const auto&, const auto&) { seen.emplace_back(-1, -1); });

    counter.set(3);
    first.reset();
    counter.set(4);
    EXPECT_EQ(seen, (std::vector<std::pair<std::int64_t, std::int64_t>> { { 0, 0 }, { 0, 3 } }));
}

} // namespace
} // namespace lumora::platform

#include "platform/ui/View.h"

#include "platform/ui/ViewController.h"
#include "platform/ui/Window.h"
#include "tests/harness/Harness.h"

#include <gtest/gtest.h>

namespace lumora::platform {
namespace {

std::shared_ptr<View> viewAt(double x, double y, double width, double height)
{
    return std::make_shared<View>(Rect { { x, y }, { width, height } });
}

TEST(ViewHierarchy, TheLayerTreeFollowsTheViewTreeAsViewsMove)
{
    const auto root = viewAt(0, 0, 100, 100);
    const auto a = viewAt(0, 0, 10, 10);
    const auto b = viewAt(0, 0, 10, 10);
    const auto extra = std::make_shared<Layer>();
    root->addSubview(a);
    root->layer()->addSublayer(extra);
    root->insertSubview_atIndex(b, 0);
    EXPECT_EQ(root->subviews(), (std::vector<std::shared_ptr<View>> { b, a }));
    EXPECT_EQ(root->layer()->sublayers(), (std::vector<std::shared_ptr<Layer>> { b->layer(), a->layer(), extra }));

    root->bringSubviewToFront(b);
    EXPECT_EQ(root->subviews().back(), b);
    EXPECT_EQ(root->layer()->sublayers(), (std::vector<std::shared_ptr<Layer>> { a->layer(), extra, b->layer() }));

    a->addSubview(b);
    EXPECT_EQ(b->superview(), a);
    EXPECT_EQ(root->subviews().size(), 1U);
    EXPECT_EQ(b->layer()->superlayer(), a->layer());
    root->addSubview(root); // refused, as is any cycle
    b->addSubview(root);
    EXPECT_EQ(root->superview(), nullptr);
}

TEST(ViewHierarchy, HitTestingFindsTheFrontmostTouchableViewThroughOffsetsAndBounds)
{
    const auto window = std::make_shared<Window>(Rect { { 0, 0 }, { 320, 480 } });
    const auto panel = viewAt(100, 100, 100, 100);
    panel->setBounds({ { 0, 50 }, { 100, 100 } }); // scrolled down by 50
    const auto back = viewAt(0, 50, 50, 50);
    const auto front = viewAt(0, 50, 50, 50);
    window->addSubview(panel);
    panel->addSubview(back);
    panel->addSubview(front);

    EXPECT_EQ(window->hitTest_withEvent({ 110, 110 }, nullptr), front);
    front->setHidden(true);
    EXPECT_EQ(window->hitTest_withEvent({ 110, 110 }, nullptr), back);
    back->setUserInteractionEnabled(false);
    EXPECT_EQ(window->hitTest_withEvent({ 110, 110 }, nullptr), panel);
    EXPECT_EQ(window->hitTest_withEvent({ 10, 10 }, nullptr), window);
    EXPECT_EQ(window->hitTest_withEvent({ 400, 10 }, nullptr), nullptr);

    EXPECT_EQ(back->convertPoint_toView({ 5, 5 }, nullptr), (Point { 105, 105 }));
    EXPECT_EQ(window->convertPoint_toView({ 105, 105 }, back.get()), (Point { 5, 5 }));
    EXPECT_EQ(back->window(), window);
}

class Recording : public ViewController {
public:
    void viewDidLoad() override { events.emplace_back("load"); }
    void viewWillAppear(bool /*animated*/) override { events.emplace_back("willAppear"); }
    void viewDidAppear(bool /*animated*/) override { events.emplace_back("didAppear"); }
    void viewWillDisappear(bool /*animated*/) override { events.emplace_back("willDisappear"); }
    void viewDidDisappear(bool /*animated*/) override { events.emplace_back("didDisappear"); }
    void willMoveToParentViewController(const std::shared_ptr<ViewController>& parent) override
    {
        events.emplace_back(parent ? "willMove" : "willMove:null");
    }
    void didMoveToParentViewController(const std::shared_ptr<ViewController>& parent) override
    {
        events.emplace_back(parent ? "didMove" : "didMove:null");
    }
    std::vector<std::string> events;
};

TEST(ViewControllers, ChildrenJoinTheirParentAndShareItsAppearance)
{
    const auto parent = std::make_shared<Recording>();
    const auto child = std::make_shared<Recording>();
    parent->addChildViewController(child);
    parent->addChildViewController(child);
    EXPECT_EQ(parent->childViewControllers().size(), 1U);
    EXPECT_EQ(child->parentViewController(), parent);

    const auto window = std::make_shared<Window>(Rect { { 0, 0 }, { 320, 480 } });
    window->setRootViewController(parent);
    window->makeKeyAndVisible();
    EXPECT_EQ(parent->view()->frame(), window->bounds());
    EXPECT_EQ(child->events, (std::vector<std::string> { "willMove", "load", "willAppear", "didAppear" }));

    child->removeFromParentViewController();
    EXPECT_EQ(child->events.back(), "didMove:null");
    EXPECT_TRUE(parent->childViewControllers().empty());
}

TEST(ViewControllers, PresentingOverTheWholeScreenHidesThePresenterUntilDismissed)
{
    const auto root = std::make_shared<Recording>();
    const auto sheet = std::make_shared<Recording>();
    const auto overlay = std::make_shared<Recording>();
    overlay->setModalPresentationStyle(ViewController::ModalPresentationOverCurrentContext);
    const auto window = std::make_shared<Window>(Rect { { 0, 0 }, { 320, 480 } });
    window->setRootViewController(root);
    window->makeKeyAndVisible();
    root->events.clear();
    int completions = 0;

    root->presentViewController_animated_completion(sheet, true, [&] { ++completions; });
    EXPECT_EQ(root->events, (std::vector<std::string> { "willDisappear", "didDisappear" }));
    EXPECT_EQ(sheet->events, (std::vector<std::string> { "load", "willAppear", "didAppear" }));
    EXPECT_EQ(sheet->view()->superview(), window);
    EXPECT_EQ(completions, 0); // the completion runs on the MainQueue, later
    test::drainMainQueue();
    EXPECT_EQ(completions, 1);

    sheet->dismissViewControllerAnimated_completion(false, nullptr);
    EXPECT_EQ(root->presentedViewController(), nullptr);
    EXPECT_EQ(sheet->view()->superview(), nullptr);
    EXPECT_EQ(root->events.back(), "didAppear");

    root->events.clear();
    root->presentViewController_animated_completion(overlay, false, nullptr);
    EXPECT_TRUE(root->events.empty()); // the presenter stays visible under it
    EXPECT_EQ(overlay->presentingViewController(), root);
}

} // namespace
} // namespace lumora::platform

#include "platform/Extension.h"

#include "platform/DispatchQueue.h"
#include "platform/ExtensionConnection.h"
#include "platform/Interface.h"
#include "platform/Runtime.h"
#include "platform/host/SimulatedDevice.h"
#include "platform/host/SimulatedExtensions.h"
#include "tests/harness/Harness.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <mutex>

namespace lumora::platform {
namespace {

using host::SimulatedDevice;
using ::testing::ElementsAre;

constexpr std::string_view kIdentifier = "com.example.editor";

// An extension-side view controller that exports a "note:" operation and
// records what it is sent, with whether it ran on the MainQueue.
class NoteTaker final : public ViewController {
public:
    static std::shared_ptr<Interface> interface()
    {
        auto described = Interface::interfaceWithProtocolName("NoteTaking");
        described->addOperation("note:", [](const ObjectRef& target, const std::vector<Value>& arguments) {
            const auto taker = std::dynamic_pointer_cast<NoteTaker>(target);
            const auto* text = arguments.empty() ? nullptr : arguments[0].string();
            if (!taker || !text) {
                return false;
            }
            std::lock_guard lock(taker->mutex);
            taker->notes.push_back(*text);
            taker->onMainQueue = taker->onMainQueue || MainQueue::isCurrent();
            return true;
        });
        return described;
    }
    std::size_t count()
    {
        std::lock_guard lock(mutex);
        return notes.size();
    }
    std::mutex mutex;
    std::vector<std::string> notes;
    bool onMainQueue = false;
};

// A host-side context class that exports the note-taking protocol.
class NoteContext final : public ExtensionContext {
public:
    class Class final : public ExtensionContext::Class {
    public:
        [[nodiscard]] std::shared_ptr<Interface> exportedInterface() const override { return NoteTaker::interface(); }
    };
    [[nodiscard]] const ExtensionContext::Class& classObject() const override
    {
        static const Class noteClass;
        return noteClass;
    }
};

class Extensions : public ::testing::Test {
protected:
    void install(const std::string& contextClass = "ExtensionContext")
    {
        auto attributes = std::make_shared<Dictionary>();
        (*attributes)[std::string(Extension::HostContextClassAttribute)] = contextClass;
        (*attributes)[std::string(Extension::PointIdentifierAttribute)] = "com.example.point";
        extensions().installExtension(std::string(kIdentifier), attributes, [](const host::ExtensionRequestSide& side) {
            auto taker = std::make_shared<NoteTaker>();
            side.hostViewConnection->setExportedInterface(NoteTaker::interface());
            return taker;
        });
    }

    static host::SimulatedExtensions& extensions() { return SimulatedDevice::shared().extensions(); }

    // Instantiates and waits for the answer.
    std::tuple<std::string, std::shared_ptr<RemoteViewController>, ErrorRef> instantiate(ExtensionItems items = {})
    {
        const auto extension = Extension::extensionWithIdentifier_error(std::string(kIdentifier), nullptr);
        test::CallbackRecorder<std::string, std::shared_ptr<RemoteViewController>, ErrorRef> answered;
        extension->instantiateViewControllerWithInputItems_connectionHandler(std::move(items), answered.callback());
        EXPECT_TRUE(answered.wait());
        EXPECT_FALSE(answered.calledOnMainQueue());
        return answered.call();
    }
};

TEST_F(Extensions, LookupFindsInstalledExtensionsAndReportsWhyOthersAreMissing)
{
    install();
    ErrorRef error;
    const auto found = Extension::extensionWithIdentifier_error(std::string(kIdentifier), &error);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(error, nullptr);
    EXPECT_EQ(found->attributes()->stringForKey(Extension::PointIdentifierAttribute), "com.example.point");

    EXPECT_EQ(Extension::extensionWithIdentifier_error("com.example.other", &error), nullptr);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->code(), Extension::NotFoundErrorCode);

    const auto broken = Error::errorWithDomain("database", 5);
    extensions().setLookupError(broken);
    EXPECT_EQ(Extension::extensionWithIdentifier_error(std::string(kIdentifier), &error), nullptr);
    EXPECT_EQ(error, broken);
}

TEST_F(Extensions, AHostClassThatIsNotLoadedFailsTheInstantiation)
{
    install("NoSuchContextClass");
    const auto [requestIdentifier, controller, error] = instantiate();
    EXPECT_TRUE(requestIdentifier.empty());
    EXPECT_EQ(controller, nullptr);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->code(), Extension::ClassNotLoadedErrorCode);
    EXPECT_TRUE(extensions().requests().empty());
}

TEST_F(Extensions, MessagesBetweenTheSidesArriveInOrderOffTheMainQueueWhileTheRequestLasts)
{
    Runtime::registerClass(std::make_shared<RuntimeClass>(
        "NoteContext", "ExtensionContext", [] { return std::make_shared<NoteContext>(); }));
    install("NoteContext");
    const auto item = std::make_shared<ExtensionItem>();
    auto [requestIdentifier, controller, error] = instantiate({ item });
    ASSERT_EQ(error, nullptr);
    ASSERT_NE(controller, nullptr);
    const auto request = extensions().requestWithIdentifier(requestIdentifier);
    ASSERT_TRUE(request);
    EXPECT_THAT(request->extensionContext->inputItems(), ElementsAre(item));
    const auto hostContext = std::dynamic_pointer_cast<NoteContext>(
        Extension(std::string(kIdentifier), nullptr).hostContextForRequestIdentifier(requestIdentifier));
    ASSERT_NE(hostContext, nullptr);

    // The extension writes to the host's context; the host to the extension's view controller.
    const auto toHost = request->extensionContext->auxiliaryConnection()->remoteObjectProxyWithErrorHandler({});
    const auto toExtension = controller->serviceViewControllerConnection()->remoteObjectProxyWithErrorHandler({});
    const auto taker = std::dynamic_pointer_cast<NoteTaker>(request->extensionViewController);
    for (int note = 0; note < 20; ++note) {
        toExtension->sendMessage("note:", { std::to_string(note) });
    }
    // The host's context is no note taker, so it refuses; the platform says so to the sender.
    test::CallbackRecorder<ErrorRef> refused;
    request->extensionContext->auxiliaryConnection()
        ->remoteObjectProxyWithErrorHandler(refused.callback())
        ->sendMessage("note:", { 1 });
    ASSERT_TRUE(refused.wait());
    EXPECT_EQ(std::get<0>(refused.call())->code(), ExtensionConnection::MalformedMessageErrorCode);
    ASSERT_TRUE(test::runUntil([&] { return taker->count() == 20; }));
    EXPECT_EQ(taker->notes.front(), "0");
    EXPECT_EQ(taker->notes.back(), "19");
    EXPECT_TRUE(std::is_sorted(taker->notes.begin(), taker->notes.end(),
        [](const auto& lhs, const auto& rhs) { return std::stoi(lhs) < std::stoi(rhs); }));
    EXPECT_FALSE(taker->onMainQueue);

    // The extension ends the request: both sides' messages become undeliverable.
    request->extensionContext->completeRequestReturningItems_completionHandler({}, nullptr);
    ASSERT_TRUE(test::runUntil([&] { return extensions().requests().empty(); }));
    test::CallbackRecorder<ErrorRef> undeliverable;
    controller->serviceViewControllerConnection()
        ->remoteObjectProxyWithErrorHandler(undeliverable.callback())
        ->sendMessage("note:", { "late" });
    toHost->sendMessage("note:", { "late" });
    ASSERT_TRUE(undeliverable.wait());
    EXPECT_EQ(std::get<0>(undeliverable.call())->code(), ExtensionConnection::ConnectionInvalidErrorCode);
    EXPECT_EQ(taker->count(), 20U);
}

} // namespace
} // namespace lumora::platform

#include "platform/extensions/Extension.h"

#include "platform/extensions/ExtensionConnection.h"
#include "platform/foundation/DispatchQueue.h"
#include "platform/foundation/Interface.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/services/SimulatedExtensions.h"
#include "tests/harness/Harness.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <mutex>

namespace lumora::platform {
namespace {

constexpr std::string_view kIdentifier = "com.example.editor";

// An extension-side view controller that takes "note:" messages from its host.
class NoteTaker final : public ViewController {
public:
    static std::shared_ptr<Interface> interface()
    {
        auto described = Interface::interfaceWithProtocolName("NoteTaking");
        described->addOperation("note:", [](const ObjectRef& target, const std::vector<Value>& arguments) {
            const auto taker = std::dynamic_pointer_cast<NoteTaker>(target);
            const auto* text = arguments.empty() ? nullptr : arguments[0].string();
            if (!taker || text == nullptr) {
                return false;
            }
            std::lock_guard lock(taker->mutex);
            taker->notes.push_back(std::stoi(*text));
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
    std::vector<int> notes;
    bool onMainQueue = false;
};

class Extensions : public ::testing::Test {
protected:
    void install(const std::string& contextClass)
    {
        auto attributes = std::make_shared<Dictionary>();
        (*attributes)[std::string(Extension::HostContextClassAttribute)] = contextClass;
        host::SimulatedDevice::shared().extensions().installExtension(
            std::string(kIdentifier), attributes, [](const host::ExtensionRequestSide& side) {
                side.hostViewConnection->setExportedInterface(NoteTaker::interface());
                return std::make_shared<NoteTaker>();
            });
    }

    // Instantiates the extension's view controller and waits for the answer.
    std::tuple<std::string, std::shared_ptr<RemoteViewController>, ErrorRef> instantiate()
    {
        ErrorRef error;
        const auto extension = Extension::extensionWithIdentifier_error(std::string(kIdentifier), &error);
        EXPECT_EQ(error, nullptr);
        test::CallbackRecorder<std::string, std::shared_ptr<RemoteViewController>, ErrorRef> answered;
        extension->instantiateViewControllerWithInputItems_connectionHandler({}, answered.callback());
        EXPECT_TRUE(answered.wait());
        EXPECT_FALSE(answered.calledOnMainQueue());
        return answered.call();
    }
};

TEST_F(Extensions, MessagesArriveInOrderOffTheMainQueueUntilTheExtensionEndsTheRequest)
{
    install("ExtensionContext");
    const auto [requestIdentifier, controller, error] = instantiate();
    ASSERT_EQ(error, nullptr);
    ASSERT_NE(controller, nullptr);
    const auto request = host::SimulatedDevice::shared().extensions().requestWithIdentifier(requestIdentifier);
    ASSERT_TRUE(request);
    const auto taker = std::dynamic_pointer_cast<NoteTaker>(request->extensionViewController);
    const auto toExtension = controller->serviceViewControllerConnection()->remoteObjectProxyWithErrorHandler({});
    for (int note = 0; note < 50; ++note) {
        toExtension->sendMessage("note:", { std::to_string(note) });
    }
    ASSERT_TRUE(test::runUntil([&] { return taker->count() == 50; }));
    EXPECT_TRUE(std::is_sorted(taker->notes.begin(), taker->notes.end()));
    EXPECT_FALSE(taker->onMainQueue);

    // Once the extension has ended the request, its connections are gone.
    request->extensionContext->completeRequestReturningItems_completionHandler({}, nullptr);
    ASSERT_TRUE(test::runUntil([] { return host::SimulatedDevice::shared().extensions().requests().empty(); }));
    test::CallbackRecorder<ErrorRef> undeliverable;
    controller->serviceViewControllerConnection()
        ->remoteObjectProxyWithErrorHandler(undeliverable.callback())
        ->sendMessage("note:", { "50" });
    ASSERT_TRUE(undeliverable.wait());
    EXPECT_EQ(std::get<0>(undeliverable.call())->code(), ExtensionConnection::ConnectionInvalidErrorCode);
    EXPECT_EQ(taker->count(), 50U);
}

} // namespace
} // namespace lumora::platform

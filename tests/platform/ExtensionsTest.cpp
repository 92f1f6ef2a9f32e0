#include "platform/extensions/Extension.h"

#include "platform/extensions/ExtensionConnection.h"
#include "platform/formats/TypeIdentifier.h"
#include "platform/foundation/DispatchQueue.h"
#include "platform/foundation/Interface.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/extensions/ExtensionRequest.h"
#include "platform/host/services/SimulatedExtensions.h"
#include "tests/harness/Harness.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <mutex>
#include <stdexcept>

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

// On a device a throwing extension ends only its own process: here the throw
// is stopped where the device calls into the extension, and the request fails.
TEST_F(Extensions, WhatAnExtensionThrowsFailsItsRequestAndNothingElse)
{
    const test::LogCapture log;
    host::SimulatedDevice::shared().extensions().installExtension(
        std::string(kIdentifier), nullptr, [](const host::ExtensionRequestSide&) -> std::shared_ptr<ViewController> {
            throw std::runtime_error("factory broke");
        });
    const auto [ignored, controller, error] = instantiate();
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->code(), Extension::LaunchFailedErrorCode);

    // A message handler that throws: the sender hears the connection is gone.
    host::SimulatedDevice::shared().extensions().installExtension(
        std::string(kIdentifier), nullptr, [](const host::ExtensionRequestSide& side) {
            auto described = Interface::interfaceWithProtocolName("Throwing");
            described->addOperation("note:", [](const ObjectRef&, const std::vector<Value>&) -> bool {
                throw std::logic_error("handler broke");
            });
            side.hostViewConnection->setExportedInterface(described);
            return std::make_shared<NoteTaker>();
        });
    const auto [requestIdentifier, remote, instantiated] = instantiate();
    ASSERT_EQ(instantiated, nullptr);
    test::CallbackRecorder<ErrorRef> failed;
    remote->serviceViewControllerConnection()
        ->remoteObjectProxyWithErrorHandler(failed.callback())
        ->sendMessage("note:", { "1" });
    ASSERT_TRUE(failed.wait());
    EXPECT_EQ(std::get<0>(failed.call())->code(), ExtensionConnection::ConnectionInvalidErrorCode);
    EXPECT_FALSE(remote->serviceViewControllerConnection()->isValid());

    // An extension that ends its request twice: the first ending stands.
    const auto request = host::SimulatedDevice::shared().extensions().requestWithIdentifier(requestIdentifier);
    ASSERT_TRUE(request);
    const auto item = host::ExtensionRequest::labelledItem("first", Value(1));
    request->extensionContext->completeRequestReturningItems_completionHandler({ item }, nullptr);
    request->extensionContext->cancelRequestWithError(Error::errorWithDomain("Test", 1));
    ASSERT_TRUE(test::runPendingDeliveries());
    const auto outcome = host::SimulatedDevice::shared().extensions().outcomeOfRequest(requestIdentifier);
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->error, nullptr);
    EXPECT_EQ(outcome->returnedItems, ExtensionItems { item });

    const auto texts = log.texts(Log::Level::Error);
    const auto mentions = [&texts](std::string_view text) {
        return std::count_if(texts.begin(), texts.end(),
            [text](const std::string& entry) { return entry.find(text) != std::string::npos; });
    };
    EXPECT_EQ(mentions("factory broke"), 1);
    EXPECT_EQ(mentions("handler broke"), 1);
    EXPECT_EQ(mentions("already ended"), 1);
}

class ThrowingHandler final : public ExtensionRequestHandling {
public:
    void beginRequestWithExtensionContext(const std::shared_ptr<ExtensionContext>& context) override
    {
        // A load whose completion throws, then a throw out of the hook itself.
        context->inputItems().front()->attachments().front()->loadItemForTypeIdentifier_options_completionHandler(
            std::string(TypeIdentifier::Data), nullptr,
            [](const Value&, const ErrorRef&) { throw std::runtime_error("completion broke"); });
        throw std::runtime_error("hook broke");
    }
};

TEST(ExtensionRequest, AHandlerThatThrowsFailsTheRequestAndThePlatformGoesOn)
{
    const test::LogCapture log;
    const host::ExtensionRequest request({ host::ExtensionRequest::labelledItem("Label", Value(7)) });
    request.beginWithHandler(std::make_shared<ThrowingHandler>());
    const auto outcome = request.waitForOutcome();
    ASSERT_TRUE(outcome);
    ASSERT_NE(outcome->error, nullptr);
    EXPECT_EQ(outcome->error->domain(), Extension::ErrorDomain);
    EXPECT_EQ(outcome->error->code(), Extension::RequestFailedErrorCode);
    ASSERT_TRUE(test::runPendingDeliveries());
    // The platform's threads still deliver.
    EXPECT_EQ(host::ExtensionRequest::loadValueOfItem(request.context()->inputItems(), "Label"), Value(7));
    EXPECT_TRUE(log.count("Platform: a delivery threw (completion broke); its process would have ended") == 1);
}

} // namespace
} // namespace lumora::platform

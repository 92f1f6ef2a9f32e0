#include "tests/harness/Harness.h"
#include "tests/upload/UploadTestSupport.h"

#include <gtest/gtest.h>

namespace lumora::test {
namespace {

using platform::Log;

constexpr std::string_view kAudioQueue = "com.lumora.broadcast.AudioSampleQueue";

std::shared_ptr<RecordingSampleHandler> begin(const ExtensionRequest& request)
{
    auto handler = std::make_shared<RecordingSampleHandler>();
    request.beginWithHandler(handler);
    return handler;
}

TEST(LMBroadcastSampleHandler, ActionsReachTheHooksOnTheLoadThreadAndTheRequestCompletes)
{
    const auto setupInfo = dictionary({ { "channel", Value("lumora") } });
    const ExtensionRequest request(
        { payloadItem(Value(actionPayload(1, Value(setupInfo)))), payloadItem(Value(actionPayload(5))),
            payloadItem(list({ Value(actionPayload(2)), Value(actionPayload(3)), Value(actionPayload(4)) })) });
    const auto handler = begin(request);

    const auto outcome = request.waitForOutcome();
    ASSERT_TRUE(outcome);
    EXPECT_TRUE(outcome->returnedItems.empty());
    EXPECT_FALSE(outcome->error);
    const auto calls = handler->log.waitFor(4);
    ASSERT_EQ(calls.size(), 4U);
    // The list is processed in order, whatever the order of the items' loads.
    std::vector<std::string> listed;
    for (const auto& call : calls) {
        EXPECT_NE(call.queueLabel, kAudioQueue);
        if (call.hook == "started") {
            EXPECT_EQ(call.setupInfo.get(), setupInfo.get());
        } else {
            listed.push_back(call.hook);
        }
    }
    EXPECT_EQ(listed, (std::vector<std::string> { "paused", "resumed", "finished" }));
}

TEST(LMBroadcastSampleHandler, TheSampleTypeDecidesBeforeTheActionType)
{
    const auto handler = std::make_shared<RecordingSampleHandler>();
    handler->_processPayload(with(audioPayload(2, 4, 0), LMBroadcastProcessExtensionPayloadKeyActionType, Value(1)));
    handler->_processPayload(actionPayload(1));
    // The start hook runs at once; the sample comes later from the audio queue.
    const auto calls = handler->log.waitFor(2);
    ASSERT_EQ(calls.size(), 2U);
    const bool startFirst = calls[0].hook == "started";
    EXPECT_EQ(calls[startFirst ? 1 : 0].hook, "sample");
    EXPECT_FALSE(calls[startFirst ? 0 : 1].setupInfo);
}

TEST(LMBroadcastSampleHandler, AudioArrivesInOrderOnTheAudioQueueInTheFixedFormat)
{
    std::vector<Value> payloads;
    for (int i = 0; i < 32; ++i) {
        payloads.emplace_back(
            audioPayload(i % 2 == 0 ? 2 : 3, 1024, static_cast<std::uint8_t>(i), std::int64_t { i } * 1024));
    }
    const ExtensionRequest request({ payloadItem(list(payloads)) });
    const auto handler = begin(request);
    ASSERT_TRUE(request.waitForOutcome());

    const auto calls = handler->log.waitFor(32);
    ASSERT_EQ(calls.size(), 32U);
    for (int i = 0; i < 32; ++i) {
        const auto& call = calls[static_cast<std::size_t>(i)];
        EXPECT_EQ(call.queueLabel, kAudioQueue);
        EXPECT_EQ(call.type, i % 2 == 0 ? 2 : 3);
        const auto& format = call.sample->formatDescription()->streamBasicDescription();
        EXPECT_EQ(format.formatFlags, i % 2 == 0 ? 14U : 12U);
        EXPECT_EQ(format.sampleRate, 44100.0);
        EXPECT_EQ(format.formatID, 0x6C70636DU);
        EXPECT_EQ(format.bytesPerPacket, 2U);
        EXPECT_EQ(format.framesPerPacket, 1U);
        EXPECT_EQ(format.bytesPerFrame, 2U);
        EXPECT_EQ(format.channelsPerFrame, 1U);
        EXPECT_EQ(format.bitsPerChannel, 16U);
        EXPECT_EQ(call.sample->numSamples(), 1024);
        EXPECT_EQ(call.sample->sampleTimingInfo().size(), 1U);
        EXPECT_EQ(call.sample->presentationTimeStamp().value, i * 1024);
        EXPECT_EQ(call.sample->dataBuffer(), Data(std::vector<std::uint8_t>(2048, static_cast<std::uint8_t>(i))));
    }
}

// Queues a marker on the audio queue from the pause hook, so that the test
// sees where the hook ran relative to the audio queued before it.
class MarkingSampleHandler final : public LMBroadcastSampleHandler {
public:
    void broadcastPaused() override
    {
        audioQueue().async([this] { log.record("marker"); });
    }
    void processSampleBuffer_withType(const std::shared_ptr<platform::SampleBuffer>& sample, std::int64_t type) override
    {
        log.record("sample", nullptr, sample, type);
    }
    HookLog log;
};

TEST(LMBroadcastSampleHandler, AudioBeforeAnActionInAListIsQueuedBeforeTheActionRuns)
{
    const ExtensionRequest request({ payloadItem(list({ Value(audioPayload(2, 4, 1)), Value(audioPayload(3, 4, 2)),
        Value(actionPayload(2)), Value(audioPayload(2, 4, 3)) })) });
    const auto handler = std::make_shared<MarkingSampleHandler>();
    request.beginWithHandler(handler);
    ASSERT_TRUE(request.waitForOutcome());
    const auto calls = handler->log.waitFor(4);
    ASSERT_EQ(calls.size(), 4U);
    std::vector<std::string> order;
    for (const auto& call : calls) {
        order.push_back(call.hook);
    }
    EXPECT_EQ(order, (std::vector<std::string> { "sample", "sample", "marker", "sample" }));
    EXPECT_EQ(calls[3].sample->dataBuffer().span().front(), 3);
}

TEST(LMBroadcastSampleHandler, FailedLoadsCountAndItemsWithoutDataNeverDo)
{
    const auto failing = ExtensionRequest::labelledItemWithLoader(
        "payload", [](const auto& completion) { completion({}, platform::Error::errorWithDomain("Test", 1)); });
    const LogCapture logs;
    const ExtensionRequest completing(
        { payloadItem(Value(actionPayload(2))), failing, payloadItem(Value(actionPayload(3))) });
    begin(completing);
    ASSERT_TRUE(completing.waitForOutcome());
    EXPECT_TRUE(logs.contains("Error loading input item for type", Log::Level::Error));

    auto otherType = std::make_shared<platform::ExtensionItem>();
    otherType->setAttachments({ std::make_shared<platform::ItemProvider>(Value(1), "public.text") });
    const ExtensionRequest waiting({ payloadItem(Value(actionPayload(2))), otherType });
    begin(waiting);
    ASSERT_TRUE(runPendingDeliveries());
    EXPECT_FALSE(waiting.outcome());
}

TEST(LMBroadcastSampleHandler, ServiceInfoGoesBackOnceWithTheCompletion)
{
    const auto serviceInfo = dictionary({ { "viewers", Value(12) } });
    const ExtensionRequest request({ payloadItem(Value(actionPayload(2))) });
    const auto handler = std::make_shared<RecordingSampleHandler>();
    handler->updateServiceInfo(serviceInfo);
    request.beginWithHandler(handler);

    const auto outcome = request.waitForOutcome();
    ASSERT_TRUE(outcome);
    ASSERT_EQ(outcome->returnedItems.size(), 1U);
    EXPECT_EQ(outcome->returnedItems[0]->attributedTitle()->string(), "LMBroadcastExtensionKeyExtensionServiceInfo");
    const auto value
        = ExtensionRequest::loadValueOfItem(outcome->returnedItems, LMBroadcastExtensionKeyExtensionServiceInfo);
    ASSERT_TRUE(value);
    EXPECT_EQ(value->dictionary().get(), serviceInfo.get());
    EXPECT_FALSE(handler->serviceInfo());
}

TEST(LMBroadcastSampleHandler, AudioBufferListsHoldOneMonoBufferWithACopy)
{
    const auto handler = std::make_shared<RecordingSampleHandler>();
    const Data data(std::vector<std::uint8_t>(4096, 7));
    const auto list = handler->_audioBufferListFromData(data);
    ASSERT_TRUE(list);
    EXPECT_EQ(list->numberBuffers, 1U);
    EXPECT_EQ(list->buffers[0].numberChannels, 1U);
    EXPECT_EQ(list->buffers[0].dataByteSize, 4096U);
    EXPECT_NE(list->buffers[0].data, data.bytes());
    EXPECT_EQ(Data(list->buffers[0].data, 4096), data);
    EXPECT_FALSE(handler->_audioBufferListFromData(Data()));
    EXPECT_EQ(&handler->audioQueue(), &std::make_shared<RecordingSampleHandler>()->audioQueue());
    EXPECT_EQ(handler->videoQueue().label(), "com.lumora.broadcast.VideoSampleQueue");
}

TEST(LMBroadcastSampleHandler, MalformedPayloadsAreLoggedAndSkippedWithoutLosingTheOthers)
{
    using namespace std::string_view_literals;
    const auto good = [](std::uint8_t fill) { return Value(audioPayload(3, 8, fill)); };
    const auto audio = audioPayload(2, 8, 0);
    const std::vector<std::pair<Value, std::string_view>> bad = {
        { Value(with(audio, LMBroadcastProcessExtensionPayloadKeySampleType, Value("2"))),
            "Ignoring payload whose sample type is not a number" },
        { Value(with(actionPayload(1), LMBroadcastProcessExtensionPayloadKeyActionType, Value(Data()))),
            "Ignoring payload whose action type is not a number" },
        { Value(actionPayload(1, Value("setup"))), "Ignoring start action whose user info is not a dictionary" },
        { Value(with(audio, LMBroadcastProcessExtensionPayloadKeyNumSamples, Value("8"))),
            "Ignoring audio payload whose number of samples is not an integer" },
        { Value(with(audio, LMBroadcastProcessExtensionPayloadKeyNumSamples, Value(-8))),
            "Ignoring audio payload whose number of samples is not valid (-12738)" },
        { Value(with(audio, LMBroadcastProcessExtensionPayloadKeyNumSamples, Value(INT64_MAX))),
            "Ignoring audio payload whose number of samples does not fit its audio data (-12742)" },
        { Value(with(audio, LMBroadcastProcessExtensionPayloadKeyTimingInfo, Value(timingData(0, 71)))),
            "Ignoring audio payload whose timing info is shorter than 72 bytes" },
        { Value(with(audio, LMBroadcastProcessExtensionPayloadKeyTimingInfo, Value(7))),
            "Ignoring audio payload whose timing info is shorter than 72 bytes" },
        { Value(with(audio, LMBroadcastProcessExtensionPayloadKeyAudioBufferList, Value(Data()))),
            "Ignoring audio payload with empty audio data" },
        { Value(with(audio, LMBroadcastProcessExtensionPayloadKeyAudioBufferList, Value())),
            "Ignoring audio payload without audio data" },
        { list({ good(0) }), "Ignoring list element that is not a payload dictionary" },
        { Value("payload"), "Ignoring list element that is not a payload dictionary" },
    };
    std::vector<Value> payloads { good(1) };
    for (const auto& [payload, text] : bad) {
        payloads.push_back(payload);
    }
    payloads.push_back(good(2));

    const LogCapture logs;
    auto bare = std::make_shared<platform::ExtensionItem>();
    const ExtensionRequest request({ payloadItem(list(payloads)), payloadItem(Value(5)), bare });
    const auto handler = begin(request);
    const auto calls = handler->log.waitFor(2);
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_EQ(calls[0].sample->dataBuffer(), Data(std::vector<std::uint8_t>(16, 1)));
    EXPECT_EQ(calls[1].sample->dataBuffer(), Data(std::vector<std::uint8_t>(16, 2)));
    for (const auto& [payload, text] : bad) {
        EXPECT_TRUE(logs.contains(text, Log::Level::Error)) << text;
    }
    // Those two come from other threads than the list's.
    EXPECT_TRUE(runUntil([&logs] {
        return logs.contains("Ignoring loaded value that is neither a payload nor a list of payloads")
            && logs.contains("Ignoring input item without attachments");
    }));
    // The item without attachments is never counted, as one without data.
    ASSERT_TRUE(runPendingDeliveries());
    EXPECT_FALSE(request.outcome());
}

} // namespace
} // namespace lumora::test

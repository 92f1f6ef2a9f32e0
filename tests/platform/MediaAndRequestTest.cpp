#include "platform/formats/TypeIdentifier.h"
#include "platform/foundation/DispatchQueue.h"
#include "platform/host/extensions/ExtensionRequest.h"
#include "platform/media/AudioFormat.h"
#include "platform/media/SampleBuffer.h"
#include "tests/harness/Harness.h"

#include <gtest/gtest.h>
#include <thread>

namespace lumora::platform {
namespace {

using host::ExtensionRequest;

AudioStreamBasicDescription monoPCM16()
{
    AudioStreamBasicDescription format;
    format.sampleRate = 44100.0;
    format.formatID = AudioFormatLinearPCM;
    format.formatFlags = AudioFormatFlags::IsSignedInteger | AudioFormatFlags::IsPacked;
    format.bytesPerPacket = 2;
    format.framesPerPacket = 1;
    format.bytesPerFrame = 2;
    format.channelsPerFrame = 1;
    format.bitsPerChannel = 16;
    return format;
}

TEST(SampleBuffer, AttachedAudioIsCopiedAndTheCountMustFitTheData)
{
    const auto format = AudioFormatDescription::create(monoPCM16());
    ASSERT_TRUE(format);
    SampleTimingInfo timing;
    timing.presentationTimeStamp = { 44100, 44100, MediaTime::Valid, 0 };

    MediaStatus status = 1;
    auto sample = SampleBuffer::createWithoutData(false, format, 4, { &timing, 1 }, {}, &status);
    ASSERT_TRUE(sample);
    EXPECT_EQ(status, MediaError::NoError);
    EXPECT_FALSE(sample->isDataReady());
    EXPECT_EQ(sample->presentationTimeStamp().seconds(), 1.0);

    std::array<std::uint8_t, 8> bytes { 1, 2, 3, 4, 5, 6, 7, 8 };
    AudioBufferList list;
    list.numberBuffers = 1;
    list.buffers[0] = { 1, 6, bytes.data() }; // 3 frames for a count of 4
    EXPECT_EQ(sample->setDataBufferFromAudioBufferList(list), MediaError::SampleBufferInvalidSampleData);
    list.buffers[0].dataByteSize = 8;
    EXPECT_EQ(sample->setDataBufferFromAudioBufferList(list), MediaError::NoError);
    const Data original(bytes.data(), bytes.size());
    bytes[0] = 99;
    EXPECT_EQ(sample->dataBuffer(), original);
    EXPECT_TRUE(sample->isDataReady());
    EXPECT_EQ(sample->setDataBufferFromAudioBufferList(list), MediaError::SampleBufferAlreadyHasDataBuffer);

    EXPECT_FALSE(SampleBuffer::createWithoutData(false, format, -1, { &timing, 1 }, {}, &status));
    EXPECT_EQ(status, MediaError::SampleBufferInvalidEntryCount);
    const auto huge = SampleBuffer::createWithoutData(false, format, INT64_MAX, { &timing, 1 }, {}, &status);
    ASSERT_TRUE(huge);
    EXPECT_EQ(huge->setDataBufferFromAudioBufferList(list), MediaError::SampleBufferInvalidSampleData);
    EXPECT_FALSE(AudioFormatDescription::create(AudioStreamBasicDescription {}, &status));
    EXPECT_EQ(status, MediaError::FormatDescriptionInvalidParameter);
}

TEST(ExtensionRequest, TheFirstEndingIsTheOutcomeAndLoadsRunOnPlatformThreads)
{
    const ExtensionRequest request({ ExtensionRequest::labelledItem("Label", Value(7)) });
    const auto& item = request.context()->inputItems().front();
    EXPECT_EQ(item->attributedTitle()->string(), "Label");
    ASSERT_TRUE(item->attachments().front()->hasItemConformingToTypeIdentifier(TypeIdentifier::Data));
    EXPECT_EQ(ExtensionRequest::loadValueOfItem(request.context()->inputItems(), "Label"), Value(7));

    std::thread::id loadThread;
    item->attachments().front()->loadItemForTypeIdentifier_options_completionHandler(std::string(TypeIdentifier::Data),
        nullptr, [&loadThread](const Value&, const ErrorRef&) { loadThread = std::this_thread::get_id(); });
    ASSERT_TRUE(test::runPendingDeliveries());
    EXPECT_FALSE(request.outcome());

    const auto error = Error::errorWithDomain("Test", 1);
    request.context()->cancelRequestWithError(error);
    request.context()->completeRequestReturningItems_completionHandler({}, nullptr);
    const auto outcome = request.waitForOutcome();
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->error, error);
    EXPECT_EQ(request.endCount(), 2U);
    EXPECT_NE(loadThread, std::this_thread::get_id());
}

} // namespace
} // namespace lumora::platform

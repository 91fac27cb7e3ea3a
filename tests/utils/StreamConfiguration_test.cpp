#include <tamo/StreamConfiguration.h>

#include <gtest/gtest.h>

#include "LogLines.h"

using namespace tamo;
using namespace testsupport;
using Streams = std::vector<std::shared_ptr<StreamInfo>>;

namespace {

std::shared_ptr<StreamInfo> stream(uint32_t type, uint32_t format, int32_t camera = -1)
{
    return std::make_shared<StreamInfo>(StreamInfo{0, type, 0, 0, format, 0, 0, 0, camera, 0, 0, 0, 0, 0, 0});
}

// Settings go with the configuration built; streams stay, and empty ones,
// which the filter, the dump and the reprocess test would follow, never get
// in. Without streams it warns, once logging is on; the dumps are at info
// level, gated on it.
TEST(StreamConfiguration, BuilderHandsTheSettingsOverFiltersPhysicalStreamsTellsReprocessingAndDumps)
{
    Logged log;
    auto unbound = stream(0, 0x23, -1), own = stream(1, 0x23, 2), other = stream(0, 0x23, 3);
    auto session = Metadata::create(), a = Metadata::create(), b = Metadata::create();
    StreamConfigBuilder builder;
    builder.setLogicalId(2).setOperationMode(1).setScenario(7).setStreamInfo(unbound).setStreamInfo(nullptr)
            .setStreamInfos({nullptr, own, other}).setConfigSetting(session);
    builder.setCameraConfigSetting(1, a).setCameraConfigSetting(1, b).setCameraConfigSetting(2, a);
    auto first = builder.build();
    EXPECT_EQ(lines(log), Lines(2, "0 setStreamInfo: empty stream info"));
    EXPECT_EQ(first->getStreams(), (Streams{unbound, own, other}));
    EXPECT_EQ(std::make_tuple(first->getConfigSetting(), first->getCameraConfigSetting(1),
                              first->getCameraConfigSetting(2), first->getCameraConfigSetting(5)),
              std::make_tuple(session, b, a, nullptr));
    g_logLv = 2;
    first->dump();
    EXPECT_TRUE(first->isReprocessStreamConfig());

    auto cut = StreamConfigBuilder(builder).enablePhysicalStream().build();
    EXPECT_EQ(cut->getStreams(), (Streams{unbound, own}));
    EXPECT_TRUE(cut->getNumberOfStreams() == 2 && cut->getConfigSetting() == nullptr &&
                cut->getCameraConfigSetting(1) == nullptr);

    // Reprocessing needs a RAW or YUV input and no RAW output.
    auto mislabelled = stream(1, 0x21);
    mislabelled->overrideFormat = 0x23;  // only format counts
    const std::pair<Streams, bool> cases[] = {
            {{stream(1, 0x23), stream(0, 0x21)}, true}, {{stream(1, 0x21)}, false},
            {{stream(1, 0x23), stream(0, 0x21), stream(0, 0x20)}, false},
            {{stream(1, 0x20), stream(0, 0x11)}, true}, {{stream(1, 0x32315659), stream(0, 0x26)}, false},
            {{stream(2, 0x11), stream(0, 0x21)}, false}, // type 2 is not input here
            {{stream(1, 0x11), stream(2, 0x25)}, false}, // but a RAW output
            {{mislabelled}, false}, {{stream(1, 0x14), stream(1, 0x10)}, true},
    };
    for (const auto& [streams, reprocess] : cases)
        EXPECT_EQ(StreamConfigBuilder().setStreamInfos(streams).build()->isReprocessStreamConfig(), reprocess)
                << std::hex << streams[0]->format;

    log.clear();
    g_logLv = 0;
    StreamConfigBuilder().build();
    g_logLv = 1;
    StreamConfigBuilder().build();
    StreamConfigBuilder().setLogicalId(2).enablePhysicalStream().setStreamInfo(stream(0, 0x23, 3)).build();
    EXPECT_EQ(lines(log), Lines{"1 build: no config stream."}); // every stream filtered away: no warning

    log.clear();
    // Type 2, 640x480, format 0x23 overridden by 0x11, 4 buffers.
    const StreamInfo in{0, 2, 640, 480, 0x23, 0, 0, 0, -1, 0, 0, 0, 0x11, 4, 0};
    auto config = StreamConfigBuilder().setLogicalId(5).setStreamInfo(in).setStreamInfo(*stream(0, 0x21)).build();
    for (g_logLv = 1; g_logLv <= 2; g_logLv++)
        config->dump();
    const std::string d = "2 dump: \t ";
    EXPECT_EQ(lines(log), (Lines{"2 dump: Total 2 streams for camera: 5", d + "format: 35 --> 17", d + "size: 640x480",
                                 d + "stream type: Input", d + "max buffer count: 4", d + "format: 33 --> 0",
                                 d + "size: 0x0", d + "stream type: Output", d + "max buffer count: 0"}));

    // The HAL's answer: usages in decimal, with their trailing tabs.
    log.clear();
    platform::AppHalStreamConfiguration hal;
    StreamUtils::dumpHalStreamConfiguration(hal);
    hal.halStreams.push_back({-1, 0x23, 0x20000, 0x800000000ull, 6, 0, "", false});
    g_logLv = 1;
    StreamUtils::dumpHalStreamConfiguration(hal);
    g_logLv = 3;
    StreamUtils::dumpHalStreamConfiguration(hal);
    const std::string f = "2 dumpHalStreamConfiguration: ";
    EXPECT_EQ(lines(log), (Lines{f + "Total 0 streams in HalStreamConfiguration",
                                 f + "Total 1 streams in HalStreamConfiguration", f + "\t [-1]overrideFormat: 35",
                                 f + "\t [-1]producerUsage: 131072\t", f + "\t [-1]consumerUsage: 34359738368\t",
                                 f + "\t [-1]maxBuffers: 6"}));
}

} // namespace

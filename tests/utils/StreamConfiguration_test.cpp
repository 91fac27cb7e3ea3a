#include <tamo/StreamConfiguration.h>

#include <TamoLogCapture.h>
#include <TamoLogControl.h>
#include <gtest/gtest.h>

using namespace tamo;
using tamo::host::LogCapture;
using Lines = std::vector<std::string>;
using Streams = std::vector<std::shared_ptr<StreamInfo>>;

namespace {

struct LevelGuard {
    uint32_t saved = g_logLv;
    ~LevelGuard() { g_logLv = saved; }
};

Lines lines(const LogCapture& capture)
{
    Lines out;
    for (const auto& r : capture.records())
        out.push_back(std::to_string(r.level) + " " + r.function + ": " + r.message);
    return out;
}

std::shared_ptr<StreamInfo> stream(uint32_t type, uint32_t format, int32_t camera = -1)
{
    auto info = std::make_shared<StreamInfo>();
    info->streamType = type;
    info->format = format;
    info->physicalCameraId = camera;
    return info;
}

TEST(StreamConfigBuilder, WarnsOfNoStreamsOnlyWhenGivenNoneAndLoggingIsOn)
{
    LevelGuard level;
    LogCapture capture;
    g_logLv = 0;
    StreamConfigBuilder().build();
    EXPECT_TRUE(capture.records().empty());

    g_logLv = 1;
    auto config = StreamConfigBuilder().setLogicalId(3).build();
    ASSERT_NE(config, nullptr);
    EXPECT_EQ(config->getNumberOfStreams(), 0u);
    EXPECT_FALSE(config->isReprocessStreamConfig());
    EXPECT_EQ(lines(capture), (Lines{"1 build: no config stream."}));
    EXPECT_EQ(capture.records()[0].file, "StreamConfiguration.cpp");

    // Every stream filtered away: still no warning.
    capture.clear();
    config = StreamConfigBuilder().setLogicalId(2).enablePhysicalStream()
            .setStreamInfo(stream(0, 0x23, 3)).build();
    EXPECT_EQ(config->getNumberOfStreams(), 0u);
    EXPECT_TRUE(capture.records().empty());
}

TEST(StreamConfigBuilder, PhysicalFilterKeepsUnboundAndOwnStreamsInOrder)
{
    auto unbound = stream(0, 0x23, -1), own = stream(0, 0x23, 2), other = stream(0, 0x23, 3);
    StreamConfigBuilder b;
    b.setLogicalId(2).setOperationMode(1).setScenario(7).setStreamInfo(unbound);
    b.setStreamInfos({own, other});
    auto all = b.build();
    EXPECT_EQ(all->getStreams(), (Streams{unbound, own, other}));
    EXPECT_EQ(all->getNumberOfStreams(), 3u);

    StreamConfigBuilder copy = b;
    auto cut = copy.enablePhysicalStream().build();
    EXPECT_EQ(cut->getStreams(), (Streams{unbound, own}));
    EXPECT_EQ(cut->getNumberOfStreams(), 2u);
    EXPECT_EQ(std::make_tuple(cut->getLogicalId(), cut->getOperationMode(), cut->getScenario()),
              std::make_tuple(2u, 1u, 7u));

    // A record given by value is copied, not shared.
    StreamInfo local = *own;
    auto copied = StreamConfigBuilder().setStreamInfo(local).build();
    local.width = 99;
    EXPECT_EQ(copied->getStreams()[0]->width, 0u);
}

TEST(StreamConfigurationInfo, ReprocessNeedsRawOrYuvInputAndNoRawOutput)
{
    struct Case {
        Streams streams;
        bool reprocess;
    };
    auto raw16In = stream(1, 0x20);
    auto mislabelled = stream(1, 0x21);
    mislabelled->overrideFormat = 0x23;  // only format counts
    const Case cases[] = {
            {{stream(1, 0x23), stream(0, 0x21)}, true},
            {{stream(1, 0x23), stream(0, 0x21), stream(0, 0x20)}, false},
            {{stream(1, 0x21)}, false},
            {{raw16In, stream(0, 0x11)}, true},
            {{stream(1, 0x32315659), stream(0, 0x26)}, false},
            {{stream(2, 0x11), stream(0, 0x21)}, false},  // type 2 is not input here
            {{stream(1, 0x11), stream(2, 0x25)}, false},  // but a RAW output
            {{mislabelled}, false},
            {{stream(1, 0x14), stream(1, 0x10)}, true},
    };
    for (const auto& c : cases)
        EXPECT_EQ(StreamConfigBuilder().setStreamInfos(c.streams).build()->isReprocessStreamConfig(),
                  c.reprocess)
                << "first format 0x" << std::hex << c.streams[0]->format;
}

TEST(StreamConfigurationInfo, DumpsStreamsAtInfoLevel)
{
    auto in = stream(2, 0x23);
    in->overrideFormat = 0x11;
    in->width = 640;
    in->height = 480;
    in->maxBuffers = 4;
    auto config = StreamConfigBuilder().setLogicalId(5).setStreamInfo(in)
            .setStreamInfo(stream(0, 0x21)).build();
    LevelGuard level;
    LogCapture capture;
    g_logLv = 1;
    config->dump();
    EXPECT_TRUE(capture.records().empty());
    g_logLv = 2;
    config->dump();
    EXPECT_EQ(lines(capture),
              (Lines{"2 dump: Total 2 streams for camera: 5", "2 dump: \t format: 35 --> 17",
                     "2 dump: \t size: 640x480", "2 dump: \t stream type: Input",
                     "2 dump: \t max buffer count: 4", "2 dump: \t format: 33 --> 0",
                     "2 dump: \t size: 0x0", "2 dump: \t stream type: Output",
                     "2 dump: \t max buffer count: 0"}));
}

TEST(StreamUtils, DumpsHalStreamsWithDecimalUsagesAndTrailingTabs)
{
    platform::AppHalStreamConfiguration hal;
    LevelGuard level;
    LogCapture capture;
    g_logLv = 2;
    StreamUtils::dumpHalStreamConfiguration(hal);
    EXPECT_EQ(lines(capture), (Lines{"2 dumpHalStreamConfiguration: Total 0 streams in HalStreamConfiguration"}));

    hal.halStreams.push_back({-1, 0x23, 0x20000, 0x800000000ull, 6, 0, "", false});
    g_logLv = 1;
    capture.clear();
    StreamUtils::dumpHalStreamConfiguration(hal);
    EXPECT_TRUE(capture.records().empty());
    g_logLv = 3;
    StreamUtils::dumpHalStreamConfiguration(hal);
    EXPECT_EQ(lines(capture),
              (Lines{"2 dumpHalStreamConfiguration: Total 1 streams in HalStreamConfiguration",
                     "2 dumpHalStreamConfiguration: \t [-1]overrideFormat: 35",
                     "2 dumpHalStreamConfiguration: \t [-1]producerUsage: 131072\t",
                     "2 dumpHalStreamConfiguration: \t [-1]consumerUsage: 34359738368\t",
                     "2 dumpHalStreamConfiguration: \t [-1]maxBuffers: 6"}));
}

} // namespace

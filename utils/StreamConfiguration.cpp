#include <tamo/StreamConfiguration.h>

#include <utility>

#include "TamoLog.h"

namespace tamo {

namespace {

bool isRawFormat(uint32_t format)
{
    return format == 0x20 || format == 0x25 || format == 0x26;
}

bool isYuvFormat(uint32_t format)
{
    return format == 0x10 || format == 0x11 || format == 0x14 || format == 0x23 ||
           format == 0x32315659;
}

using CameraSettings = std::unordered_map<int, std::shared_ptr<Metadata>>;

} // namespace

class StreamConfigurationInfoImpl : public StreamConfigurationInfo {
public:
    uint32_t getLogicalId() const override { return logicalId; }
    uint32_t getOperationMode() const override { return operationMode; }
    uint32_t getScenario() const override { return scenario; }
    uint32_t getNumberOfStreams() const override { return numberOfStreams; }
    std::vector<std::shared_ptr<StreamInfo>> getStreams() const override { return streams; }
    std::shared_ptr<Metadata> getConfigSetting() const override { return configSetting; }
    std::shared_ptr<Metadata> getCameraConfigSetting(int cameraId) const override;
    void dump() override;
    bool isReprocessStreamConfig() override;

private:
    friend class StreamConfigBuilder;

    uint32_t logicalId = 0;
    uint32_t operationMode = 0;
    uint32_t numberOfStreams = 0;
    uint32_t scenario = 0;
    std::vector<std::shared_ptr<StreamInfo>> streams;
    std::shared_ptr<Metadata> configSetting;
    CameraSettings cameraConfigSettings;
};

struct StreamConfigBuilder::StreamConfigBuilderImpl {
    uint32_t logicalId = 0;
    uint32_t operationMode = 0;
    uint32_t scenario = 0;
    std::vector<std::shared_ptr<StreamInfo>> streams;
    std::shared_ptr<Metadata> configSetting;
    bool physicalStreamEnabled = false;
    CameraSettings cameraConfigSettings;
};

StreamConfigBuilder::StreamConfigBuilder() : impl(std::make_shared<StreamConfigBuilderImpl>()) {}

StreamConfigBuilder& StreamConfigBuilder::setLogicalId(unsigned int logicalId)
{
    impl->logicalId = logicalId;
    return *this;
}

StreamConfigBuilder& StreamConfigBuilder::setOperationMode(unsigned int operationMode)
{
    impl->operationMode = operationMode;
    return *this;
}

StreamConfigBuilder& StreamConfigBuilder::setScenario(unsigned int scenario)
{
    impl->scenario = scenario;
    return *this;
}

StreamConfigBuilder& StreamConfigBuilder::setStreamInfo(std::shared_ptr<StreamInfo> info)
{
    // Every stream of a configuration is read: an empty one is not taken.
    if (info == nullptr) {
        TAMO_LOGE("empty stream info");
        return *this;
    }
    impl->streams.push_back(std::move(info));
    return *this;
}

StreamConfigBuilder& StreamConfigBuilder::setStreamInfo(const StreamInfo& info)
{
    impl->streams.push_back(std::make_shared<StreamInfo>(info));
    return *this;
}

StreamConfigBuilder& StreamConfigBuilder::setStreamInfos(std::vector<std::shared_ptr<StreamInfo>> infos)
{
    for (auto& info : infos)
        setStreamInfo(std::move(info));
    return *this;
}

StreamConfigBuilder& StreamConfigBuilder::setConfigSetting(std::shared_ptr<Metadata> setting)
{
    impl->configSetting = std::move(setting);
    return *this;
}

StreamConfigBuilder& StreamConfigBuilder::setCameraConfigSetting(int cameraId,
                                                                 std::shared_ptr<Metadata> setting)
{
    impl->cameraConfigSettings[cameraId] = std::move(setting);
    return *this;
}

StreamConfigBuilder& StreamConfigBuilder::enablePhysicalStream()
{
    impl->physicalStreamEnabled = true;
    return *this;
}

std::shared_ptr<StreamConfigurationInfo> StreamConfigBuilder::build()
{
    // Judged on what was given: streams the filter drops do not count.
    if (impl->streams.empty())
        TAMO_LOGW_IF_ENABLED("no config stream.");

    auto config = std::make_shared<StreamConfigurationInfoImpl>();
    config->logicalId = impl->logicalId;
    config->operationMode = impl->operationMode;
    config->scenario = impl->scenario;
    // Settings go with the configuration; the streams stay for the next build.
    config->configSetting = std::move(impl->configSetting);
    config->cameraConfigSettings.swap(impl->cameraConfigSettings);

    if (!impl->physicalStreamEnabled) {
        config->streams = impl->streams;
    } else {
        // One camera of a multi-camera device: its own streams and unbound ones.
        for (const auto& stream : impl->streams)
            if (stream->physicalCameraId == -1 ||
                static_cast<uint32_t>(stream->physicalCameraId) == impl->logicalId)
                config->streams.push_back(stream);
    }
    config->numberOfStreams = static_cast<uint32_t>(config->streams.size());
    return config;
}

std::shared_ptr<Metadata> StreamConfigurationInfoImpl::getCameraConfigSetting(int cameraId) const
{
    auto it = cameraConfigSettings.find(cameraId);
    return it != cameraConfigSettings.end() ? it->second : nullptr;
}

void StreamConfigurationInfoImpl::dump()
{
    TAMO_LOGI_IF_ENABLED("Total %u streams for camera: %u", numberOfStreams, logicalId);
    for (const auto& stream : streams) {
        TAMO_LOGI_IF_ENABLED("\t format: %u --> %u", stream->format, stream->overrideFormat);
        TAMO_LOGI_IF_ENABLED("\t size: %ux%u", stream->width, stream->height);
        // Anything but 0 reads as input here, unlike isReprocessStreamConfig().
        TAMO_LOGI_IF_ENABLED("\t stream type: %s", stream->streamType == 0 ? "Output" : "Input");
        TAMO_LOGI_IF_ENABLED("\t max buffer count: %u", stream->maxBuffers);
    }
}

bool StreamConfigurationInfoImpl::isReprocessStreamConfig()
{
    bool reprocessInput = false;
    bool rawOutput = false;
    for (const auto& stream : streams) {
        if (stream->streamType == 1)
            reprocessInput |= isRawFormat(stream->format) || isYuvFormat(stream->format);
        else
            rawOutput |= isRawFormat(stream->format);
    }
    // A RAW output rules reprocessing out, whatever the inputs.
    return reprocessInput && !rawOutput;
}

void StreamUtils::dumpHalStreamConfiguration(platform::AppHalStreamConfiguration& config)
{
    if (g_logLv < 2)
        return;
    TAMO_LOGI_IF_ENABLED("Total %u streams in HalStreamConfiguration",
                         static_cast<uint32_t>(config.halStreams.size()));
    for (const auto& stream : config.halStreams) {
        TAMO_LOGI_IF_ENABLED("\t [%d]overrideFormat: %u", stream.streamId, stream.overrideFormat);
        TAMO_LOGI_IF_ENABLED("\t [%d]producerUsage: %lu\t", stream.streamId, stream.producerUsage);
        TAMO_LOGI_IF_ENABLED("\t [%d]consumerUsage: %lu\t", stream.streamId, stream.consumerUsage);
        TAMO_LOGI_IF_ENABLED("\t [%d]maxBuffers: %u", stream.streamId, stream.maxBuffers);
    }
}

} // namespace tamo

/*
 * Stream configurations: the streams, operation mode, scenario and settings
 * a camera is configured with, and the log of the HAL's answer.
 *
 * Threads: a StreamConfigBuilder and its copies share state and take no
 * lock, so one thread at a time uses them, build() included. A built
 * StreamConfigurationInfo is not changed afterwards: its calls may run on
 * several threads at once, but the settings Metadata it hands out follow
 * Metadata's own rules. StreamUtils may run on any thread, each call on a
 * configuration that nobody changes meanwhile.
 */
#pragma once

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include <tamo/Metadata.h>
#include <tamo/StreamBuffer.h>
#include <tamo_platform/AppHalStreamConfiguration.h>

namespace tamo {

// Immutable once built; its StreamInfo and Metadata are shared, not copied.
class StreamConfigurationInfo {
public:
    StreamConfigurationInfo() = default;
    virtual ~StreamConfigurationInfo() = default;

    virtual uint32_t getLogicalId() const = 0;
    virtual uint32_t getOperationMode() const = 0;
    virtual uint32_t getScenario() const = 0;
    virtual uint32_t getNumberOfStreams() const = 0;
    virtual std::vector<std::shared_ptr<StreamInfo>> getStreams() const = 0;
    // The session settings; may be empty.
    virtual std::shared_ptr<Metadata> getConfigSetting() const = 0;
    // Empty for a camera without settings of its own.
    virtual std::shared_ptr<Metadata> getCameraConfigSetting(int cameraId) const = 0;
    virtual void dump() = 0;
    /*
     * An input stream (streamType 1) of a RAW or YUV format, and no RAW
     * output stream.
     */
    virtual bool isReprocessStreamConfig() = 0;
};

/*
 * Collects a configuration. build() never fails, and consumes the settings:
 * a second build() of the same builder (or a copy, they share state) has the
 * same streams and values but no settings. With enablePhysicalStream(),
 * streams bound to a camera other than the logical id are left out.
 */
class StreamConfigBuilder {
public:
    StreamConfigBuilder();

    StreamConfigBuilder& setLogicalId(unsigned int logicalId);
    StreamConfigBuilder& setOperationMode(unsigned int operationMode);
    StreamConfigBuilder& setScenario(unsigned int scenario);
    // Appends the record itself, shared; an empty pointer is refused.
    StreamConfigBuilder& setStreamInfo(std::shared_ptr<StreamInfo> info);
    // Appends a copy.
    StreamConfigBuilder& setStreamInfo(const StreamInfo& info);
    // Appends after the streams already given.
    StreamConfigBuilder& setStreamInfos(std::vector<std::shared_ptr<StreamInfo>> infos);
    StreamConfigBuilder& setConfigSetting(std::shared_ptr<Metadata> setting);
    StreamConfigBuilder& setCameraConfigSetting(int cameraId, std::shared_ptr<Metadata> setting);
    StreamConfigBuilder& enablePhysicalStream();

    std::shared_ptr<StreamConfigurationInfo> build();

private:
    struct StreamConfigBuilderImpl;

    std::shared_ptr<StreamConfigBuilderImpl> impl;
};

class StreamUtils {
public:
    // Logs every HAL stream of the answer at level 2.
    static void dumpHalStreamConfiguration(platform::AppHalStreamConfiguration& config);
};

} // namespace tamo

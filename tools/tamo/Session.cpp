/*
 * tamo session: a capture session of one camera played through the library
 * the way a HAL plays it. Vendor tags are registered, the characteristics
 * read, the streams configured and given a buffer pool each; then every
 * request's settings and results go through the metadata pool and its
 * output buffers through stream buffers, drawn into by a stand-in pipeline
 * and handed back together when the request completes.
 */
#include <algorithm>
#include <chrono>
#include <cstring>
#include <deque>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <system/camera_metadata.h>
#include <system/graphics.h>
#include <tamo/ImageBuffer.h>
#include <tamo/Metadata.h>
#include <tamo/MetadataPool.h>
#include <tamo/StreamBuffer.h>
#include <tamo/StreamConfiguration.h>
#include <tamo/VendorTag.h>

#include "Camera.h"
#include "Command.h"
#include "Files.h"
#include "Frame.h"
#include "Pattern.h"
#include "Png.h"
#include "Progress.h"

namespace tamo::tool {

namespace {

using Clock = std::chrono::steady_clock;

constexpr uint32_t kSessionId = 1;
// Requests in flight at once, as a HAL pipeline holds them; also the most
// buffers a stream needs.
constexpr uint32_t kPipelineDepth = 4;
constexpr uint32_t kMinBuffers = 2;
constexpr uint32_t kMaxPreviewArea = 1920 * 1080;
constexpr int64_t kFrameDuration = 33333333; // ns

// Gralloc usage bits.
constexpr uint64_t kUsageCpuReadOften = 0x3;
constexpr uint64_t kUsageCpuWriteOften = 0x30;
constexpr uint64_t kUsageGpuTexture = 0x100;
constexpr uint64_t kUsageCameraWrite = 0x20000;

// Values of standard metadata enumerations.
constexpr int32_t kStreamOutput = 0;
constexpr uint8_t kCaptureIntentPreview = 1;
constexpr uint8_t kAeStateConverged = 2;

struct StreamKind {
    const char* name;
    uint32_t format;
    uint64_t consumerUsage;
};

// Stream ids are positions here plus one, whatever the selection.
const StreamKind kStreamKinds[] = {
    {"preview", HAL_PIXEL_FORMAT_YCBCR_420_888, kUsageGpuTexture},
    {"jpeg", HAL_PIXEL_FORMAT_BLOB, kUsageCpuReadOften},
    {"raw", HAL_PIXEL_FORMAT_RAW16, kUsageCpuReadOften},
};

struct SessionOptions {
    uint32_t cameraId = 0;
    uint32_t requests = 300;
    std::vector<std::string> streams = {"preview", "jpeg", "raw"};
    std::string saveDir;
};

struct Size {
    uint32_t width = 0;
    uint32_t height = 0;
};

std::optional<std::vector<int32_t>> int32Values(Metadata& metadata, uint32_t tag)
{
    MetadataEntryData entry = metadata.getMetadataByTag(tag);
    if (entry.data == nullptr || static_cast<int32_t>(entry.count) < 1)
        return std::nullopt;
    const auto* values = static_cast<const int32_t*>(entry.data);
    return std::vector<int32_t>(values, values + entry.count);
}

// What a stream of this kind is given, of the camera's output stream
// configurations: YUV the largest size up to 1080p, BLOB and RAW16 the largest.
std::optional<Size> streamSize(Metadata& characteristics, const StreamKind& kind)
{
    std::optional<Size> best;
    auto consider = [&best](Size size) {
        if (!best || uint64_t{size.width} * size.height > uint64_t{best->width} * best->height)
            best = size;
    };
    if (auto configs = int32Values(characteristics, ANDROID_SCALER_AVAILABLE_STREAM_CONFIGURATIONS)) {
        for (size_t i = 0; i + 3 < configs->size(); i += 4) {
            const int32_t* c = configs->data() + i;
            if (static_cast<uint32_t>(c[0]) != kind.format || c[3] != kStreamOutput || c[1] <= 0 ||
                c[2] <= 0)
                continue;
            Size size{static_cast<uint32_t>(c[1]), static_cast<uint32_t>(c[2])};
            if (kind.format != HAL_PIXEL_FORMAT_YCBCR_420_888 ||
                uint64_t{size.width} * size.height <= kMaxPreviewArea)
                consider(size);
        }
    }
    return best;
}

// Hands out buffers from each stream's pool and takes them back.
class PoolBroker final : public IBufferRequestor, public IBufferCollector {
public:
    void addPool(int32_t streamId, std::shared_ptr<ImageBufferManager> pool)
    {
        pools[streamId] = std::move(pool);
    }

    std::shared_ptr<ImageBufferManager> pool(int32_t streamId) const
    {
        auto it = pools.find(streamId);
        return it != pools.end() ? it->second : nullptr;
    }

    std::shared_ptr<ImageBuffer> requestBuffer(std::shared_ptr<StreamInfo> info) override
    {
        auto owner = pool(info->streamId);
        return owner != nullptr ? owner->acquireImageBuffer() : nullptr;
    }

    void collectBuffer(std::shared_ptr<StreamBuffer> buffer) override
    {
        // Every buffer was drawn into, so it has its image buffer and asking
        // for it here does not reach the pool.
        if (auto owner = pool(buffer->getStreamInfo()->streamId))
            owner->releaseImageBuffer(buffer->getImageBuffer());
    }

    void collectBufferSet(std::vector<std::shared_ptr<StreamBuffer>> buffers) override
    {
        for (auto& buffer : buffers)
            collectBuffer(buffer);
    }

private:
    std::map<int32_t, std::shared_ptr<ImageBufferManager>> pools;
};

struct Request {
    uint32_t number = 0;
    std::shared_ptr<StreamBufferSet> buffers; // the set lives until it is handed back
    Clock::duration library{};
};

struct MetadataSizes {
    size_t characteristics = 0;
    size_t settings = 0;
    size_t result = 0;
    size_t resultEntries = 0;
};

class CaptureSession {
public:
    explicit CaptureSession(SessionOptions options) : options(std::move(options)) {}

    int run();

private:
    template <typename... Args>
    bool failed(fmt::format_string<Args...> format, Args&&... args)
    {
        failure = fmt::format(format, std::forward<Args>(args)...);
        return false;
    }

    bool readCamera();
    bool configure();
    bool makePools();
    std::shared_ptr<Metadata> makeSettings(uint32_t number);
    bool addResults(uint32_t number);
    bool submit(uint32_t number);
    bool render(Request& request, Clock::duration& own);
    bool saveFrame(StreamBuffer& stream, ImageBuffer& image, const Frame& frame);
    bool complete();
    void printSummary();

    const SessionOptions options;
    std::string failure;
    std::shared_ptr<Metadata> characteristics;
    bool completedByFramework = false;
    float maxDigitalZoom = 1.0f;
    std::string cameraName;
    std::vector<int32_t> activeArray;
    std::vector<std::shared_ptr<StreamInfo>> streams;
    std::shared_ptr<StreamConfigurationInfo> configuration;
    std::shared_ptr<PoolBroker> broker = std::make_shared<PoolBroker>();
    MetadataPool metadataPool;
    TestPattern pattern;
    std::deque<Request> inFlight;
    std::vector<Clock::duration> libraryTimes;
    MetadataSizes sizes;
    std::vector<std::string> saved;
};

bool CaptureSession::readCamera()
{
    CameraCharacteristics camera = cameraCharacteristics(options.cameraId, failure);
    if (camera.metadata == nullptr)
        return false;
    characteristics = camera.metadata;
    completedByFramework = camera.completed;
    sizes.characteristics = characteristics->getMetadataSize();

    MetadataEntryData name = characteristics->getMetadataByTag(FWK_VENDOR_TAG_CAMERA_TYPE);
    if (name.data != nullptr && static_cast<int32_t>(name.count) > 0)
        cameraName.assign(static_cast<const char*>(name.data), name.count);
    auto active = int32Values(*characteristics, ANDROID_SENSOR_INFO_ACTIVE_ARRAY_SIZE);
    if (!active || active->size() < 4 || (*active)[2] <= 0 || (*active)[3] <= 0)
        return failed("camera {} has no active array size", options.cameraId);
    activeArray = *active;
    MetadataEntryData zoom = characteristics->getMetadataByTag(ANDROID_SCALER_AVAILABLE_MAX_DIGITAL_ZOOM);
    if (zoom.data != nullptr && static_cast<int32_t>(zoom.count) > 0)
        maxDigitalZoom = *static_cast<const float*>(zoom.data);
    return true;
}

bool CaptureSession::configure()
{
    for (size_t i = 0; i < std::size(kStreamKinds); i++) {
        const StreamKind& kind = kStreamKinds[i];
        if (std::find(options.streams.begin(), options.streams.end(), kind.name) ==
            options.streams.end())
            continue;
        std::optional<Size> size = streamSize(*characteristics, kind);
        if (!size)
            return failed("camera {} offers no {} stream size", options.cameraId, kind.name);
        auto stream = std::make_shared<StreamInfo>();
        stream->streamId = static_cast<int32_t>(i + 1);
        stream->width = size->width;
        stream->height = size->height;
        stream->format = kind.format;
        stream->consumerUsage = kind.consumerUsage;
        stream->usage = kind.consumerUsage;
        stream->physicalCameraId = -1;
        streams.push_back(stream);
    }
    configuration = StreamConfigBuilder()
                        .setLogicalId(options.cameraId)
                        .setOperationMode(0)
                        .setStreamInfos(streams)
                        .build();
    if (configuration == nullptr || configuration->getNumberOfStreams() != streams.size())
        return failed("the stream configuration lost streams");

    // The HAL's answer: formats kept, a pipeline's worth of buffers each.
    platform::AppHalStreamConfiguration answer;
    for (auto& stream : streams) {
        stream->overrideFormat = stream->format;
        stream->producerUsage = kUsageCameraWrite | kUsageCpuWriteOften;
        stream->maxBuffers = kPipelineDepth;
        platform::AppHalStream hal;
        hal.streamId = stream->streamId;
        hal.overrideFormat = stream->overrideFormat;
        hal.producerUsage = stream->producerUsage;
        hal.consumerUsage = stream->consumerUsage;
        hal.maxBuffers = stream->maxBuffers;
        answer.halStreams.push_back(hal);
    }
    configuration->dump();
    StreamUtils::dumpHalStreamConfiguration(answer);
    return true;
}

bool CaptureSession::makePools()
{
    for (const auto& stream : streams) {
        ImageBufferBuilder image;
        image.setImageFormat(stream->format)
            .setSize(stream->width, stream->height)
            .setProducerUsage(stream->producerUsage)
            .setConsumerUsage(stream->consumerUsage)
            .setStreamId(stream->streamId);
        auto pool = ImageBufferManagerBuilder()
                        .setName(fmt::format("stream{}", stream->streamId))
                        .setMinCount(kMinBuffers)
                        .setMaxCount(stream->maxBuffers)
                        .setImageBufferBuilder(image)
                        .build();
        if (pool == nullptr || pool->getFreeBufferCount() < kMinBuffers)
            return failed("no buffers for stream {} ({}x{} {})", stream->streamId, stream->width,
                          stream->height, ImageBufferUtils::getFormatString(stream->format));
        broker->addPool(stream->streamId, pool);
    }
    return metadataPool.addSessionEntry(kSessionId) == 0 || failed("no metadata session");
}

std::shared_ptr<Metadata> CaptureSession::makeSettings(uint32_t number)
{
    // A slow zoom from the whole active array to its middle half and back.
    const uint32_t phase = number % 120;
    const float zoom = 1.0f + static_cast<float>(phase < 60 ? phase : 120 - phase) / 60.0f;
    const int32_t width = static_cast<int32_t>(static_cast<float>(activeArray[2]) / zoom);
    const int32_t height = static_cast<int32_t>(static_cast<float>(activeArray[3]) / zoom);
    const int32_t crop[4] = {activeArray[0] + (activeArray[2] - width) / 2,
                             activeArray[1] + (activeArray[3] - height) / 2, width, height};

    auto settings = Metadata::create();
    if (!settings->init(8, 64) ||
        !settings->updateMetaDataByTag(ANDROID_CONTROL_CAPTURE_INTENT, &kCaptureIntentPreview, 1) ||
        !settings->updateMetaDataByTag(ANDROID_SCALER_CROP_REGION, crop, 4))
        return nullptr;
    // The converter reads the zoom ratio's terms from the framework's cache;
    // for a camera the cache does not hold, the HAL gives the ratio itself,
    // by the converter's formula, and the converter leaves it.
    if (!completedByFramework) {
        const float ratio = static_cast<float>(width) / static_cast<float>(activeArray[2]) * maxDigitalZoom;
        if (!settings->updateMetaDataByTag(FWK_VENDOR_TAG_ZOOM_RATIO, &ratio, 1))
            return nullptr;
    }
    VendorTagUtils::converter(settings, options.cameraId);
    return settings;
}

// Two partial results, as a pipeline sends them: the shutter, then the rest.
bool CaptureSession::addResults(uint32_t number)
{
    const int64_t timestamp = int64_t{number} * kFrameDuration;
    auto shutter = Metadata::create();
    bool ok = shutter->init(1, 8) &&
              shutter->updateMetaDataByTag(ANDROID_SENSOR_TIMESTAMP, &timestamp, 1) &&
              metadataPool.updateMetadata(kSessionId, number, MetadataPool::METADATA_TYPE_RESULT,
                                          shutter);

    const int64_t exposure = 10000000;
    const int32_t sensitivity = 100;
    const uint8_t depth = kPipelineDepth;
    auto rest = Metadata::create();
    ok = ok && rest->init(5, 32) &&
         rest->updateMetaDataByTag(ANDROID_SENSOR_EXPOSURE_TIME, &exposure, 1) &&
         rest->updateMetaDataByTag(ANDROID_SENSOR_FRAME_DURATION, &kFrameDuration, 1) &&
         rest->updateMetaDataByTag(ANDROID_SENSOR_SENSITIVITY, &sensitivity, 1) &&
         rest->updateMetaDataByTag(ANDROID_CONTROL_AE_STATE, &kAeStateConverged, 1) &&
         rest->updateMetaDataByTag(ANDROID_REQUEST_PIPELINE_DEPTH, &depth, 1) &&
         metadataPool.updateMetadata(kSessionId, number, MetadataPool::METADATA_TYPE_RESULT, rest);
    return ok || failed("request {}: results not merged", number);
}

bool CaptureSession::submit(uint32_t number)
{
    const Clock::time_point start = Clock::now();
    Clock::duration own{};
    Request request;
    request.number = number;

    auto settings = makeSettings(number);
    if (settings == nullptr)
        return failed("request {}: settings not built", number);
    if (metadataPool.addRequestEntry(kSessionId, number, settings) != 0)
        return failed("request {}: not added to the metadata pool", number);

    std::vector<std::shared_ptr<StreamBuffer>> buffers;
    for (const auto& stream : streams) {
        auto buffer = StreamBufferBuilder()
                          .setStreamInfo(stream)
                          .setRequestNumber(number)
                          .setImageBufferRequestor(broker)
                          .setCollector(broker)
                          .build();
        if (buffer == nullptr)
            return failed("request {}: no stream buffer for stream {}", number, stream->streamId);
        buffers.push_back(buffer);
    }
    request.buffers = StreamBufferSetBuilder().setStreamBuffers(buffers).setCollector(broker).build();
    if (request.buffers == nullptr)
        return failed("request {}: no stream buffer set", number);

    if (!render(request, own) || !addResults(number))
        return false;
    request.library = Clock::now() - start - own;
    inFlight.push_back(std::move(request));
    return true;
}

// The pipeline: each output buffer is drawn into, and the last request's
// frames saved. `own` collects the time that is the tool's, not the library's.
bool CaptureSession::render(Request& request, Clock::duration& own)
{
    const bool last = request.number + 1 == options.requests;
    for (const auto& stream : request.buffers->getStreamBuffers()) {
        std::shared_ptr<ImageBuffer> image = stream->getImageBuffer();
        if (image == nullptr)
            return failed("request {}: no buffer for {}", request.number, stream->getInfo());
        if (!image->lock("pipeline"))
            return failed("request {}: {} not locked", request.number, stream->getInfo());
        const Frame frame = mappedFrame(*image);

        const Clock::time_point start = Clock::now();
        std::string error;
        bool ok = checkPlanes(frame, error) ||
                  failed("request {}: {}: {}", request.number, stream->getInfo(), error);
        if (ok)
            pattern.draw(image.get(), frame, request.number);
        ok = ok && (!last || options.saveDir.empty() || saveFrame(*stream, *image, frame));
        own += Clock::now() - start;

        image->unlock("pipeline");
        if (!ok)
            return false;
        stream->setBufferStatus(platform::AppBufferStatus::OK);
    }
    return true;
}

bool CaptureSession::saveFrame(StreamBuffer& stream, ImageBuffer& image, const Frame& frame)
{
    const auto& info = *stream.getStreamInfo();
    const std::string format = ImageBufferUtils::getFormatString(info.format);
    const std::string base = (std::filesystem::path(options.saveDir) /
                              fmt::format("{}_{}x{}_{}", kStreamKinds[info.streamId - 1].name,
                                          info.width, info.height, format))
                                 .string();
    // The library writes the dump, into the file the tool's writer opened
    // (reached by its descriptor), so the output is still whole or as it was.
    std::string error;
    auto dump = [&image](FILE* file, std::string& reason) {
        if (image.saveToFile("/proc/self/fd/" + std::to_string(fileno(file))))
            return true;
        reason = "not written (the library says why above)";
        return false;
    };
    if (!writeOutput(base + ".raw", dump, error))
        return failed("{}", error);
    saved.push_back(base + ".raw");
    if (info.format == HAL_PIXEL_FORMAT_BLOB)
        return true;

    std::optional<Image> picture = toImage(frame, Bayer::RGGB, error);
    if (!picture || !writePng(base + ".png", *picture, error))
        return failed("{}", error);
    saved.push_back(base + ".png");
    return true;
}

bool CaptureSession::complete()
{
    Request request = std::move(inFlight.front());
    inFlight.pop_front();
    const Clock::time_point start = Clock::now();
    const uint32_t number = request.number;

    // One buffer is enough: it takes its whole set back with it.
    if (!StreamBufferUtils::returnStreamBuffer(request.buffers->getStreamBuffer(0)))
        return failed("request {}: buffers not handed back", number);
    auto settings = metadataPool.getMetadata(kSessionId, number, MetadataPool::METADATA_TYPE_REQUEST);
    auto result = metadataPool.getMetadata(kSessionId, number, MetadataPool::METADATA_TYPE_RESULT);
    if (settings == nullptr || result == nullptr)
        return failed("request {}: metadata missing from the pool", number);
    sizes.settings = settings->getMetadataSize();
    sizes.result = result->getMetadataSize();
    sizes.resultEntries = MetadataUtils::getCameraMetadataEntryCount(result->getFwkMetadata());
    if (metadataPool.removeRequestEntry(kSessionId, number) != 0)
        return failed("request {}: not removed from the metadata pool", number);

    libraryTimes.push_back(request.library + (Clock::now() - start));
    return true;
}

std::string microseconds(Clock::duration duration)
{
    return fmt::format("{:.1f} us", std::chrono::duration<double, std::micro>(duration).count());
}

void CaptureSession::printSummary()
{
    std::vector<Clock::duration> times = libraryTimes;
    std::sort(times.begin(), times.end());
    const size_t p99 = (times.size() * 99 + 99) / 100 - 1;

    fmt::print("camera {}{}: {} streams\n", options.cameraId,
               cameraName.empty() ? "" : " (" + cameraName + ")", streams.size());
    uint32_t busy = 0;
    for (const auto& stream : streams) {
        auto pool = broker->pool(stream->streamId);
        busy += pool->getBusyBufferCount();
        fmt::print("  stream {}  {:<8} {:<14} {:>9}  {} buffers allocated\n", stream->streamId,
                   kStreamKinds[stream->streamId - 1].name,
                   ImageBufferUtils::getFormatString(stream->format),
                   fmt::format("{}x{}", stream->width, stream->height),
                   pool->getFreeBufferCount() + pool->getBusyBufferCount());
    }
    fmt::print("requests done         {}\n", libraryTimes.size());
    fmt::print("library per request   median {}, p99 {}, max {}\n",
               microseconds(times[(times.size() - 1) / 2]), microseconds(times[p99]),
               microseconds(times.back()));
    fmt::print("buffers busy at end   {}\n", busy);
    fmt::print("metadata bytes        characteristics {}, settings {}, result {} ({} entries)\n",
               sizes.characteristics, sizes.settings, sizes.result, sizes.resultEntries);
    for (const std::string& path : saved)
        fmt::print("saved                 {}\n", path);
}

int CaptureSession::run()
{
    // Found out before the first request, not after the last.
    std::string error;
    if (!options.saveDir.empty() && !writableDirectory(options.saveDir, error))
        return failWith(2, "{}", error);
    if (!readCamera() || !configure())
        return fail("{}", failure);
    if (!makePools())
        return failWith(2, "{}", failure);

    bool ok = true;
    {
        Progress progress(options.requests);
        for (uint32_t number = 0; ok && number < options.requests; number++) {
            ok = (inFlight.size() < kPipelineDepth || complete()) && submit(number);
            progress.update(number + 1);
        }
        while (ok && !inFlight.empty())
            ok = complete();
    }
    if (!ok)
        return failWith(2, "{}", failure);
    printSummary();
    return 0;
}

} // namespace

void addSessionCommand(CLI::App& app, Runner& runner)
{
    auto options = std::make_shared<SessionOptions>();
    CLI::App* command = app.add_subcommand(
        "session", "Play a capture session of a host camera through the library");
    command->add_option("--camera", options->cameraId, "Camera id (default 0)");
    command->add_option("--requests", options->requests, "Capture requests (default 300)")
        ->check(CLI::Range(1u, 10000000u));
    command->add_option("--streams", options->streams,
                        "Streams, comma-separated (default preview,jpeg,raw)")
        ->delimiter(',')
        ->check(CLI::IsMember({"preview", "jpeg", "raw"}));
    command->add_option("--save-frames", options->saveDir,
                        "Directory for each stream's last frame: a raw dump, and a PNG beside "
                        "it for preview and raw");
    command->callback([&runner, options] {
        runner = [options] { return CaptureSession(*options).run(); };
    });
}

} // namespace tamo::tool

/*
 * Build step of the host platform: turns its cameras' JSON descriptions into
 * packets compiled into the platform library, so that it reads them as a
 * HAL gets them from its configuration, without a JSON reader of its own.
 *
 *   tamo_camera_packets OUTPUT.cpp CAMERA.json...
 *
 * Camera N is the Nth file. Writes OUTPUT whole or not at all; exit 0, or 2
 * with one line on stderr.
 */
#include <cstdio>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "Files.h"
#include "MetaJson.h"

namespace {

using tamo::tool::Packet;

std::string packetArray(size_t index, const camera_metadata_t* packet, const std::string& source)
{
    const auto* bytes = reinterpret_cast<const uint8_t*>(packet);
    const size_t size = get_camera_metadata_size(packet);
    std::string text = fmt::format("// {}: {} entries, {} bytes\nalignas(8) const uint8_t kCamera{}[] = {{",
                                   source, get_camera_metadata_entry_count(packet), size, index);
    for (size_t i = 0; i < size; i++)
        text += fmt::format("{}0x{:02x},", i % 16 == 0 ? "\n    " : " ", bytes[i]);
    return text + "\n};\n\n";
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 3) {
        fmt::print(stderr, "usage: tamo_camera_packets OUTPUT.cpp CAMERA.json...\n");
        return 2;
    }
    const std::string output = argv[1];
    std::string arrays;
    std::string table;
    for (int i = 2; i < argc; i++) {
        const std::string path = argv[i];
        const std::string name = path.substr(path.find_last_of('/') + 1);
        std::string error;
        tamo::tool::JsonImport import{path, 0, false, {}, {}};
        const Packet packet = tamo::tool::importJsonFile(import, error);
        if (packet == nullptr) {
            fmt::print(stderr, "tamo_camera_packets: {}\n", error);
            return 2;
        }
        arrays += packetArray(size_t(i - 2), packet.get(), name);
        table += fmt::format("    {{kCamera{0}, sizeof(kCamera{0}), \"{1}\"}},\n", i - 2, name);
    }
    const std::string source = fmt::format(
        "// Made by tamo_camera_packets from the cameras' JSON descriptions: edit those.\n"
        "#include \"HostCameraPackets.h\"\n\nnamespace tamo::platform::host {{\n\nnamespace {{\n\n{}}} // namespace\n\n"
        "const HostCameraPacket kHostCameraPackets[] = {{\n{}}};\nconst size_t kHostCameraPacketCount = {};\n\n"
        "}} // namespace tamo::platform::host\n",
        arrays, table, argc - 2);
    std::string error;
    if (!tamo::tool::writeFile(output, {{source.data(), source.size()}}, error)) {
        fmt::print(stderr, "tamo_camera_packets: {}\n", error);
        return 2;
    }
    return 0;
}

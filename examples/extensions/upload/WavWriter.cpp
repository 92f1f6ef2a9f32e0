#include "extensions/upload/WavWriter.h"

#include <array>
#include <vector>

namespace lumora::sample {

namespace {

void put16(std::vector<char>& out, std::uint16_t value)
{
    out.push_back(static_cast<char>(value & 0xFFU));
    out.push_back(static_cast<char>(value >> 8U));
}

void put32(std::vector<char>& out, std::uint32_t value)
{
    put16(out, static_cast<std::uint16_t>(value & 0xFFFFU));
    put16(out, static_cast<std::uint16_t>(value >> 16U));
}

} // namespace

WavWriter::WavWriter(const std::string& path, std::uint32_t sampleRate, std::uint16_t channels)
    : path_(path), file_(path, std::ios::binary | std::ios::trunc), sampleRate_(sampleRate), channels_(channels)
{
    writeHeader();
}

WavWriter::~WavWriter()
{
    close();
}

void WavWriter::writeHeader()
{
    // The data size is capped at what a RIFF header can say (4 GiB).
    const auto dataSize = static_cast<std::uint32_t>(std::min<std::uint64_t>(dataBytes_, 0xFFFFFFFFU - 36U));
    std::vector<char> header;
    header.insert(header.end(), { 'R', 'I', 'F', 'F' });
    put32(header, 36U + dataSize);
    header.insert(header.end(), { 'W', 'A', 'V', 'E', 'f', 'm', 't', ' ' });
    put32(header, 16); // size of the format chunk
    put16(header, 1); // PCM
    put16(header, channels_);
    put32(header, sampleRate_);
    put32(header, sampleRate_ * channels_ * 2U); // bytes per second
    put16(header, static_cast<std::uint16_t>(channels_ * 2U)); // bytes per frame
    put16(header, 16); // bits per sample
    header.insert(header.end(), { 'd', 'a', 't', 'a' });
    put32(header, dataSize);
    file_.seekp(0);
    file_.write(header.data(), static_cast<std::streamsize>(header.size()));
    file_.seekp(0, std::ios::end);
}

void WavWriter::appendSamples(std::span<const std::uint8_t> bytes, bool bigEndian)
{
    if (!isOpen()) {
        return;
    }
    std::vector<char> littleEndian(bytes.begin(), bytes.end() - static_cast<std::ptrdiff_t>(bytes.size() % 2));
    if (bigEndian) {
        for (std::size_t i = 0; i + 1 < littleEndian.size(); i += 2) {
            std::swap(littleEndian[i], littleEndian[i + 1]);
        }
    }
    file_.write(littleEndian.data(), static_cast<std::streamsize>(littleEndian.size()));
    dataBytes_ += littleEndian.size();
}

void WavWriter::close()
{
    if (!file_.is_open()) {
        return;
    }
    writeHeader();
    file_.close();
}

} // namespace lumora::sample

#pragma once

#include <cstdint>
#include <fstream>
#include <span>
#include <string>

namespace lumora::sample {

/// Writes 16-bit PCM to a WAV file (RIFF, little-endian samples). The sizes
/// in the header are filled in when the file is closed.
class WavWriter {
public:
    WavWriter(const std::string& path, std::uint32_t sampleRate, std::uint16_t channels);
    WavWriter(const WavWriter&) = delete;
    WavWriter& operator=(const WavWriter&) = delete;
    WavWriter(WavWriter&&) = delete;
    WavWriter& operator=(WavWriter&&) = delete;
    ~WavWriter();

    [[nodiscard]] bool isOpen() const { return file_.is_open() && file_.good(); }
    /// Appends samples whose bytes are in the order `bigEndian` says; the file
    /// always gets them little-endian.
    void appendSamples(std::span<const std::uint8_t> bytes, bool bigEndian);
    /// Writes the final sizes and closes the file.
    void close();

    [[nodiscard]] std::uint64_t framesWritten() const { return dataBytes_ / (2U * channels_); }
    [[nodiscard]] const std::string& path() const { return path_; }

private:
    void writeHeader();

    std::string path_;
    std::ofstream file_;
    std::uint32_t sampleRate_;
    std::uint16_t channels_;
    std::uint64_t dataBytes_ = 0;
};

} // namespace lumora::sample

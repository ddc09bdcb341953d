/// libFuzzer target: any bytes as a curve file and as a list of points, brought into settings as tovixctl does it.
/// What is not refused fits into the settings page and leaves an equalizer that the effect reads.

#include "curves/CurveReader.h"
#include "curves/Refusal.h"
#include "fuzz/QuickUnit.h"
#include "settings/SettingsChanges.h"
#include "settings/SettingsDiagnosis.h"
#include "text/Limits.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

using namespace tovix;

namespace {

void requireReadable(const std::string& text) {
    bool equalizer = false;
    for (const auto& line : diagnoseSettings(text, decodeLatin1)) {
        equalizer = equalizer || line.equalizer.has_value();
    }
    if (!equalizer || text.size() >= settingsPageBytes) {
        std::abort();
    }
}

void change(std::string_view settings, const WantedCurve& curve, std::optional<std::size_t> fitPoints) {
    try {
        requireReadable(changeEqualizer(settings, curve, fitPoints).text);
    } catch (const Refusal&) { // in the rules' own words
    }
}

void readAsCurve(std::string_view bytes) {
    const auto fit =
        !bytes.empty() ? std::optional<std::size_t>(1 + static_cast<unsigned char>(bytes.back()) % 40) : std::nullopt;
    for (const auto read : {readCurve, readPointList}) {
        try {
            const WantedCurve curve = read(bytes);
            change("", curve, fit);
            change("Boost: 60 dB 1\n#Equalizer: 100 0\nOther: line", curve, std::nullopt);
        } catch (const Refusal&) { // no curve
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    requireQuick(0.05, [&] { readAsCurve({reinterpret_cast<const char*>(data), size}); });
    return 0;
}

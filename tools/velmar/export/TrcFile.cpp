#include "export/TrcFile.h"

#include <fmt/format.h>

#include <iterator>

#include "export/LeftOut.h"
#include "export/PlainName.h"
#include "export/TableSize.h"
#include "export/YUp.h"

namespace {

constexpr double kMillimetres = 1000; // in a metre

std::string HeadOf(const Take& take, const std::string& fileName) {
    const double rate = take.timeline.Rate();
    const long long frames = take.timeline.Slots();
    std::string head = fmt::format("PathFileType\t4\t(X/Y/Z)\t{}\n", PlainName(fileName, "markers.trc"));
    head +=
        "DataRate\tCameraRate\tNumFrames\tNumMarkers\tUnits\tOrigDataRate\tOrigDataStartFrame\tOrigNumFrames\n";
    head += fmt::format("{0}\t{0}\t{1}\t{2}\tmm\t{0}\t1\t{1}\n", rate, frames, take.markers.Count());
    head += "Frame#\tTime";
    for (const std::string& label : PlainNames(take.markers.Labels(), "Marker")) head += '\t' + label + "\t\t";
    head += "\n\t";
    for (std::size_t i = 1; i <= take.markers.Count(); ++i) head += fmt::format("\tX{0}\tY{0}\tZ{0}", i);
    return head + "\n\n";
}

} // namespace

TrcFile::TrcFile(Take& take, OutputFolder& folder) : m_take(take), m_file(folder.Make(take.Name() + ".trc")) {
    CheckTableSize(take, take.timeline.Slots(), 3 * take.markers.Count());
    m_file.Write(HeadOf(take, take.Name() + ".trc"));
}

void TrcFile::Add(const TakeFrame& item) {
    m_positions.assign(m_take.markers.Count(), std::nullopt);
    if (item.frame != nullptr) m_take.markers.Place(*item.frame, m_positions);
    std::string row = fmt::format("{}\t{:.9f}", item.slot + 1, item.seconds);
    for (const std::optional<sTriple>& p : m_positions) {
        if (!p) {
            row += "\t\t\t";
            continue;
        }
        const aiVector3t<double> at = YUp(aiVector3t<double>(p->x, p->y, p->z)) * kMillimetres;
        fmt::format_to(std::back_inserter(row), "\t{:.6f}\t{:.6f}\t{:.6f}", at.x, at.y, at.z);
    }
    m_file.Write(row + '\n');
}

std::vector<std::string> TrcFile::Finish() { return LeftOutOfOpenSim(m_take); }

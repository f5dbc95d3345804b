#include "export/MotFile.h"

#include <fmt/format.h>

#include <iterator>

#include "Wording.h"
#include "export/LeftOut.h"
#include "export/PlainName.h"
#include "export/TableSize.h"
#include "export/YUp.h"

namespace {

constexpr std::size_t kPlateColumns = 9;

std::string HeadOf(const Take& take) {
    const std::string name = PlainName(take.Name() + "_grf", "grf");
    std::string head = fmt::format("{}\nversion=1\nnRows={}\nnColumns={}\ninDegrees=yes\nendheader\ntime", name,
                                   take.plateFrames, 1 + kPlateColumns * take.plates.size());
    for (std::size_t i = 1; i <= take.plates.size(); ++i)
        head += fmt::format(
            "\tground_force_{0}_vx\tground_force_{0}_vy\tground_force_{0}_vz"
            "\tground_force_{0}_px\tground_force_{0}_py\tground_force_{0}_pz"
            "\tground_torque_{0}_x\tground_torque_{0}_y\tground_torque_{0}_z",
            i);
    return head + '\n';
}

aiVector3t<double> VectorOf(const float (&v)[3]) { return {v[0], v[1], v[2]}; }

} // namespace

MotFile::MotFile(Take& take, OutputFolder& folder) : m_take(take), m_file(folder.Make(take.Name() + "_grf.mot")) {
    CheckTableSize(take, take.timeline.Slots(), 0); // of them only those that were not lost have rows
    m_file.Write(HeadOf(take));
}

void MotFile::Add(const TakeFrame& item) {
    if (item.frame == nullptr || !m_take.IsWhole(item.plates)) return;
    std::string row = fmt::format("{:.9f}", item.seconds);
    for (std::size_t i = 0; i < m_take.plates.size(); ++i) {
        const auto& [force, point, moment] = item.plates.plates[i];
        for (const aiVector3t<double>& v :
             {YUp(VectorOf(force)), YUp(VectorOf(point)), YUp(aiVector3t<double>(0, 0, moment))})
            fmt::format_to(std::back_inserter(row), "\t{:.6f}\t{:.6f}\t{:.6f}", v.x, v.y, v.z);
    }
    m_file.Write(row + '\n');
}

std::vector<std::string> MotFile::Finish() {
    std::vector<std::string> notes = LeftOutOfOpenSim(m_take);
    if (const long long missing = m_take.timeline.Frames() - m_take.plateFrames; missing > 0)
        notes.push_back(fmt::format("left out of the ground reactions: {} without all force plates",
                                    Counted(missing, "frame")));
    return notes;
}

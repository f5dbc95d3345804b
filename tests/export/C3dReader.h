// A strict reader of C3D files.
#ifndef TESTS_EXPORT_C3D_READER_H
#define TESTS_EXPORT_C3D_READER_H

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace C3d {

using Vector = std::array<double, 3>;

struct Parameter {
    int elementSize = 0; // -1: text
    std::vector<std::size_t> dimensions;
    std::vector<double> numbers;
    std::vector<std::string> texts; // without blanks at their ends
};

// In the volume's axes, mm, N, Nmm: what the person exerts on the plate; the free moment about the plate's own z
// axis.
struct Wrench {
    Vector force;
    Vector point; // centre of pressure
    double freeMoment;
};

inline void Demand(bool holds, const std::string& what) {
    if (!holds) throw std::runtime_error("C3D: " + what);
}

inline double Dot(const Vector& a, const Vector& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
inline Vector Cross(const Vector& a, const Vector& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
inline Vector Sum(const Vector& a, const Vector& b, double times = 1) {
    return {a[0] + times * b[0], a[1] + times * b[1], a[2] + times * b[2]};
}

class File {
public:
    explicit File(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        m_bytes.assign(std::istreambuf_iterator<char>(file), {});
        ReadParameters();
        CheckHeader();
        CheckEvents();
    }

    const Parameter* Find(const std::string& name) const {
        const auto found = m_parameters.find(name);
        return found == m_parameters.end() ? nullptr : &found->second;
    }
    const Parameter& Get(const std::string& name) const {
        const Parameter* const parameter = Find(name);
        Demand(parameter != nullptr, "no " + name);
        return *parameter;
    }
    double Number(const std::string& name, std::size_t at = 0) const { return Get(name).numbers.at(at); }

    // With what goes on in parameters of the same name and a number: as many as are used.
    std::vector<std::string> Labels(const std::string& name) const {
        std::vector<std::string> labels;
        for (int part = 1;; ++part) {
            const Parameter* const parameter = Find(name + (part == 1 ? "" : std::to_string(part)));
            if (parameter == nullptr) break;
            labels.insert(labels.end(), parameter->texts.begin(), parameter->texts.end());
        }
        const auto used = Unsigned(name.substr(0, name.find(':')) + ":USED");
        Demand(labels.size() == used, name + " has another number of entries than USED says");
        return labels;
    }

    std::size_t Frames() const { return m_frames; }
    double Rate() const { return Number("POINT:RATE"); }

    std::optional<Vector> Point(std::size_t frame, std::size_t point) const {
        Demand(frame < m_frames && point < m_points, "no such point");
        const std::size_t at = FrameAt(frame) + point * 16;
        if (At<float>(at + 12) < 0) return std::nullopt;
        return Vector{At<float>(at), At<float>(at + 4), At<float>(at + 8)};
    }

    double Analog(std::size_t frame, std::size_t channel) const {
        Demand(frame < m_frames && channel < m_channels, "no such channel");
        const double stored = At<float>(FrameAt(frame) + m_points * 16 + channel * 4);
        return (stored - Number("ANALOG:OFFSET", channel)) * Number("ANALOG:SCALE", channel) *
               Number("ANALOG:GEN_SCALE");
    }

    std::vector<std::pair<double, std::string>> Events() const {
        std::vector<std::pair<double, std::string>> events;
        if (Unsigned("EVENT:USED") == 0) return events;
        std::vector<double> times;
        for (int part = 1;
             const Parameter* const found = Find("EVENT:TIMES" + (part == 1 ? "" : std::to_string(part)));
             ++part) {
            Demand(found->dimensions.at(0) == 2, "times without minutes");
            times.insert(times.end(), found->numbers.begin(), found->numbers.end());
        }
        const std::vector<std::string> labels = Labels("EVENT:LABELS");
        Demand(times.size() == 2 * labels.size(), "not a time for each event");
        for (std::size_t i = 0; i < labels.size(); ++i)
            events.emplace_back(60 * times[2 * i] + times[2 * i + 1], labels[i]);
        return events;
    }

    std::size_t Platforms() const { return Unsigned("FORCE_PLATFORM:USED"); }

    Wrench Platform(std::size_t frame, std::size_t platform) const {
        Demand(Number("FORCE_PLATFORM:ZERO", 0) == 0 && Number("FORCE_PLATFORM:ZERO", 1) == 0, "a baseline");
        const auto axes = AxesOf(platform);
        const auto [force, moment] =
            Number("FORCE_PLATFORM:TYPE", platform) == 3 ? EightForces(frame, platform) : SixOf(frame, platform);
        const double x = -moment[1] / force[2];
        const double y = moment[0] / force[2];
        Wrench wrench{{}, CentreOf(platform), moment[2] - (x * force[1] - y * force[0])};
        for (std::size_t i = 0; i < 3; ++i) wrench.force = Sum(wrench.force, axes[i], force[i]);
        wrench.point = Sum(Sum(wrench.point, axes[0], x), axes[1], y);
        return wrench;
    }

private:
    static constexpr std::size_t kBlock = 512;

    template <typename T>
    T At(std::size_t offset) const {
        Demand(offset + sizeof(T) <= m_bytes.size(), "the file ends too soon");
        T value;
        std::memcpy(&value, &m_bytes[offset], sizeof value);
        return value;
    }
    std::uint16_t HeaderWord(std::size_t word) const { return At<std::uint16_t>(2 * (word - 1)); }
    float HeaderFloat(std::size_t word) const { return At<float>(2 * (word - 1)); }
    // A word as it is meant where it cannot be negative.
    std::size_t Unsigned(const std::string& name, std::size_t at = 0) const {
        return static_cast<std::uint16_t>(static_cast<std::int16_t>(Number(name, at)));
    }
    std::size_t FrameAt(std::size_t frame) const { return m_data + frame * (m_points * 16 + m_channels * 4); }

    void ReadParameters() {
        Demand(At<std::uint8_t>(0) == 2 && At<std::uint8_t>(1) == 0x50, "no C3D file");
        Demand(At<std::uint8_t>(kBlock + 1) == 0x50, "no parameter section");
        Demand(At<std::uint8_t>(kBlock + 3) == 84, "another processor");
        m_end = kBlock + kBlock * At<std::uint8_t>(kBlock + 2);
        std::map<int, std::string> groups;
        for (std::size_t at = kBlock + 4; at < m_end && At<std::int8_t>(at) != 0;) {
            const auto length = static_cast<std::size_t>(std::abs(At<std::int8_t>(at)));
            const int group = At<std::int8_t>(at + 1);
            Demand(group != 0, "a group of number 0");
            const std::string name(&m_bytes.at(at + 2), length);
            const std::size_t link = at + 2 + length;
            const std::size_t next = At<std::uint16_t>(link);
            std::size_t end = 0;
            if (group < 0) {
                Demand(groups.emplace(-group, name).second, "a group twice");
                end = link + 3 + At<std::uint8_t>(link + 2);
            } else {
                Demand(groups.contains(group), "a parameter without a group");
                end = ReadParameter(groups[group] + ":" + name, link + 2);
            }
            Demand(end <= m_end && (next == 0 || link + next == end), name + " leads elsewhere");
            if (next == 0) break;
            at = end;
        }
    }

    // Returns where it ends.
    std::size_t ReadParameter(const std::string& name, std::size_t at) {
        Parameter parameter;
        parameter.elementSize = At<std::int8_t>(at);
        const std::size_t rank = At<std::uint8_t>(at + 1);
        Demand(rank <= 7, "too many dimensions");
        std::size_t count = 1;
        for (std::size_t i = 0; i < rank; ++i) {
            parameter.dimensions.push_back(At<std::uint8_t>(at + 2 + i));
            count *= parameter.dimensions.back();
        }
        const std::size_t data = at + 2 + rank;
        if (parameter.elementSize == -1) {
            const std::size_t length = rank == 0 ? 1 : parameter.dimensions[0];
            for (std::size_t i = 0; length > 0 && i < count / length; ++i) {
                std::string text(&m_bytes.at(data + i * length), length);
                text.erase(text.find_last_not_of(' ') + 1);
                parameter.texts.push_back(std::move(text));
            }
        }
        const auto size = static_cast<std::size_t>(std::abs(parameter.elementSize));
        for (std::size_t i = 0; parameter.elementSize > 0 && i < count; ++i)
            parameter.numbers.push_back(NumberAt(parameter.elementSize, data + i * size));
        Demand(m_parameters.emplace(name, std::move(parameter)).second, name + " is there twice");
        return data + count * size + 1 + At<std::uint8_t>(data + count * size);
    }

    double NumberAt(int size, std::size_t at) const {
        if (size == 1) return At<std::int8_t>(at);
        if (size == 2) return At<std::int16_t>(at);
        Demand(size == 4, "an element size that is none");
        return At<float>(at);
    }

    void CheckHeader() {
        m_points = HeaderWord(2);
        m_channels = HeaderWord(3);
        m_data = kBlock * (HeaderWord(9) - std::size_t{1});
        Demand(Unsigned("POINT:USED") == m_points && Unsigned("ANALOG:USED") == m_channels, "other numbers");
        Demand(Unsigned("POINT:DATA_START") == HeaderWord(9) && m_data == m_end, "the data begin elsewhere");
        Demand(HeaderFloat(7) < 0 && Number("POINT:SCALE") < 0, "no floats");
        Demand(HeaderFloat(11) == static_cast<float>(Rate()), "another rate");
        Demand(Number("ANALOG:RATE") == Rate() && HeaderWord(10) == (m_channels > 0 ? 1 : 0), "several samples");
        Demand(HeaderWord(4) == 1 && HeaderWord(5) == Unsigned("POINT:FRAMES"), "other frames");
        const auto field = [&](const char* name) { return Unsigned(name, 0) + (Unsigned(name, 1) << 16U); };
        m_frames = field("TRIAL:ACTUAL_END_FIELD") - field("TRIAL:ACTUAL_START_FIELD") + 1;
        Demand(std::min<std::size_t>(m_frames, 65535) == HeaderWord(5), "a trial of another length");
        Demand(FrameAt(m_frames) == m_bytes.size(), "frames of another size");
        Labels("POINT:LABELS");
        Labels("POINT:DESCRIPTIONS");
    }

    void CheckEvents() const {
        const auto events = Events();
        const std::size_t count = HeaderWord(151);
        Demand(HeaderWord(150) == 12345 && count == std::min<std::size_t>(events.size(), 18), "other events");
        for (std::size_t i = 0; i < count; ++i) {
            Demand(std::abs(static_cast<double>(HeaderFloat(153 + 2 * i)) - events[i].first) < 1e-3,
                   "another time");
            const std::string label(&m_bytes.at(2 * 198 + 4 * i), 4);
            Demand(events[i].second.substr(0, 4) == label, "another label");
        }
    }

    Vector Corner(std::size_t platform, std::size_t corner) const {
        const std::size_t at = 12 * platform + 3 * corner;
        return {Number("FORCE_PLATFORM:CORNERS", at), Number("FORCE_PLATFORM:CORNERS", at + 1),
                Number("FORCE_PLATFORM:CORNERS", at + 2)};
    }

    Vector CentreOf(std::size_t platform) const {
        Vector centre{};
        for (std::size_t i = 0; i < 4; ++i) centre = Sum(centre, Corner(platform, i), 0.25);
        return centre;
    }

    // From the corners at +x +y, -x +y, -x -y, +x -y.
    std::array<Vector, 3> AxesOf(std::size_t platform) const {
        const auto unit = [](const Vector& v) { return Sum({}, v, 1 / std::sqrt(Dot(v, v))); };
        const Vector x = unit(Sum(Corner(platform, 0), Corner(platform, 1), -1));
        const Vector y = unit(Sum(Corner(platform, 0), Corner(platform, 3), -1));
        const Vector z = Cross(x, y);
        Demand(std::abs(Dot(x, y)) < 1e-4 && z[2] < 0, "a platform whose z does not point down");
        return {x, y, z};
    }

    double Channel(std::size_t frame, std::size_t platform, std::size_t k) const {
        const Parameter& channels = Get("FORCE_PLATFORM:CHANNEL");
        const double number = channels.numbers.at(platform * channels.dimensions.at(0) + k);
        Demand(number >= 1, "a channel that is none");
        return Analog(frame, static_cast<std::size_t>(number) - 1);
    }

    Vector Origin(std::size_t platform) const {
        return {Number("FORCE_PLATFORM:ORIGIN", 3 * platform), Number("FORCE_PLATFORM:ORIGIN", 3 * platform + 1),
                Number("FORCE_PLATFORM:ORIGIN", 3 * platform + 2)};
    }

    // Type 3. Force, and moment about the centre of the surface.
    std::pair<Vector, Vector> EightForces(std::size_t frame, std::size_t platform) const {
        std::array<double, 8> c{}; // Fx12 Fx34 Fy14 Fy23 Fz1 Fz2 Fz3 Fz4
        for (std::size_t k = 0; k < c.size(); ++k) c[k] = Channel(frame, platform, k);
        const auto [a, b, az0] = Origin(platform);
        const Vector force{c[0] + c[1], c[2] + c[3], c[4] + c[5] + c[6] + c[7]};
        return {force,
                {b * (c[4] + c[5] - c[6] - c[7]) + az0 * force[1],
                 a * (-c[4] + c[5] + c[6] - c[7]) - az0 * force[0], b * (-c[0] + c[1]) + a * (c[2] - c[3])}};
    }

    // Type 4: the matrix, column by column, makes forces and moments of the channels.
    std::pair<Vector, Vector> SixOf(std::size_t frame, std::size_t platform) const {
        Demand(Number("FORCE_PLATFORM:TYPE", platform) == 4, "another type of platform");
        std::array<double, 6> values{};
        for (std::size_t column = 0; column < 6; ++column)
            for (std::size_t row = 0; row < 6; ++row)
                values[row] += Number("FORCE_PLATFORM:CAL_MATRIX", 36 * platform + 6 * column + row) *
                               Channel(frame, platform, column);
        const Vector force{values[0], values[1], values[2]};
        return {force, Sum({values[3], values[4], values[5]}, Cross(force, Origin(platform)))};
    }

    std::string m_bytes;
    std::size_t m_end = 0; // of the parameter section
    std::map<std::string, Parameter> m_parameters;
    std::size_t m_points = 0;
    std::size_t m_channels = 0;
    std::size_t m_data = 0; // where the frames begin
    std::size_t m_frames = 0;
};

} // namespace C3d

#endif

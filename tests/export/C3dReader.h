#ifndef TESTS_EXPORT_C3D_READER_H
#define TESTS_EXPORT_C3D_READER_H

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

// A strict reader of C3D files, written from the format's published description alone, so that it shares no
// mistake with whatever wrote the file. It refuses what other readers would let pass.
namespace C3d {

using Vector = std::array<double, 3>;

struct Parameter {
    int elementSize = 0; // -1 text, 1, 2, 4
    std::vector<std::size_t> dimensions;
    std::vector<double> numbers;    // integers as signed ones: who means an unsigned word wraps it himself
    std::vector<std::string> texts; // trailing blanks off
};

// In the volume's axes, mm, N, Nmm: what the channels say, turned by the plate's axes.
struct Wrench {
    Vector force{};
    Vector point{};        // centre of pressure in the volume; the centre of the plate when nothing presses on it
    double freeMoment = 0; // about the plate's z axis through the point, in plate axes
};

namespace Detail {

inline Vector Add(const Vector& a, const Vector& b, double factor = 1) {
    return {a[0] + factor * b[0], a[1] + factor * b[1], a[2] + factor * b[2]};
}

inline Vector Cross(const Vector& a, const Vector& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

inline double Dot(const Vector& a, const Vector& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

inline Vector Unit(const Vector& a) {
    const double length = std::sqrt(Dot(a, a));
    return {a[0] / length, a[1] / length, a[2] / length};
}

inline std::string WithoutTrailingBlanks(const std::string& text) {
    const std::size_t last = text.find_last_not_of(' ');
    return last == std::string::npos ? std::string() : text.substr(0, last + 1);
}

// Force and moment in plate axes; the moment is about whatever point the context says.
struct Load {
    Vector force{};
    Vector moment{};
};

struct Plate {
    int type = 0;
    Vector centre{};
    std::array<Vector, 3> axes{};         // x, y, z of the plate in the volume
    Vector origin{};                      // type 3: a, b, az0; type 4: from the origin to the surface's centre
    std::vector<std::size_t> channels;    // from 0
    std::array<double, 36> calibration{}; // [output + 6 * input], type 4 only
};

} // namespace Detail

class File {
public:
    explicit File(const std::string& path) : path_(path) {
        Load();
        CheckKeys();
        ReadParameters();
        CheckPoints();
        CheckFrames();
        CheckAnalog();
        CheckLength();
        ReadEvents();
        CheckHeaderEvents();
        ReadPlatforms();
    }

    const Parameter* Find(const std::string& groupColonName) const {
        const auto found = parameters_.find(groupColonName);
        return found == parameters_.end() ? nullptr : &found->second;
    }

    const Parameter& Get(const std::string& groupColonName) const {
        const Parameter* found = Find(groupColonName);
        if (!found) Fail(groupColonName + " is missing");
        return *found;
    }

    // The list must have exactly as many entries as USED of its group says.
    std::vector<std::string> Labels(const std::string& name) const {
        const std::size_t used = Word(name.substr(0, name.find(':')) + ":USED");
        std::vector<std::string> labels;
        for (const Parameter* part : Chain(name)) {
            Check(part->elementSize == -1, name + " is no text");
            labels.insert(labels.end(), part->texts.begin(), part->texts.end());
        }
        Check(labels.size() == used,
              name + " has " + std::to_string(labels.size()) + " entries where USED is " + std::to_string(used));
        return labels;
    }

    std::size_t Frames() const { return frames_; }

    double Rate() const { return rate_; }

    // The fourth word of a point holds cameras and residual; a negative one says that the point is invalid.
    std::optional<Vector> Point(std::size_t frame, std::size_t point) const {
        if (frame >= frames_ || point >= points_)
            Fail("no point " + std::to_string(point) + " in frame " + std::to_string(frame));
        const std::size_t start = frame * WordsPerFrame() + 4 * point;
        const double residual = Stored(start + 3, false);
        if (!(residual >= -32768 && residual <= 32767))
            Fail("residual out of range in frame " + std::to_string(frame) + ", point " + std::to_string(point));
        if (residual < 0) return std::nullopt;
        const double factor = floats_ ? 1 : scale_;
        const Vector position = {factor * Stored(start, false), factor * Stored(start + 1, false),
                                 factor * Stored(start + 2, false)};
        if (!(std::isfinite(position[0]) && std::isfinite(position[1]) && std::isfinite(position[2]))) {
            Fail("valid point without position in frame " + std::to_string(frame) + ", point " +
                 std::to_string(point));
        }
        return position;
    }

    double Analog(std::size_t frame, std::size_t channel) const {
        if (frame >= frames_ || channel >= channels_)
            Fail("no analog channel " + std::to_string(channel) + " in frame " + std::to_string(frame));
        const double stored = Stored(frame * WordsPerFrame() + 4 * points_ + channel, unsignedAnalog_);
        if (!std::isfinite(stored))
            Fail("no number in frame " + std::to_string(frame) + ", analog channel " + std::to_string(channel));
        return (stored - analogOffsets_[channel]) * analogScales_[channel] * generalScale_;
    }

    std::vector<std::pair<double, std::string>> Events() const { return events_; }

    std::size_t Platforms() const { return plates_.size(); }

    Wrench Platform(std::size_t frame, std::size_t platform) const {
        if (platform >= plates_.size()) Fail("no force platform " + std::to_string(platform));
        const Detail::Plate& plate = plates_[platform];
        if (plate.type != 3 && plate.type != 4)
            Fail("force platform of type " + std::to_string(plate.type) + " is not read");
        const Detail::Load load = plate.type == 3 ? LoadOfType3(frame, plate) : LoadOfType4(frame, plate);
        const Vector& force = load.force;
        // Without vertical force there is no centre of pressure; the load is then given at the plate's centre.
        const double x = force[2] != 0 ? -load.moment[1] / force[2] : 0;
        const double y = force[2] != 0 ? load.moment[0] / force[2] : 0;
        Wrench wrench;
        wrench.point = Detail::Add(Detail::Add(plate.centre, plate.axes[0], x), plate.axes[1], y);
        for (std::size_t axis = 0; axis < 3; ++axis)
            wrench.force = Detail::Add(wrench.force, plate.axes[axis], force[axis]);
        wrench.freeMoment = load.moment[2] - (x * force[1] - y * force[0]);
        return wrench;
    }

private:
    static constexpr std::size_t kBlock = 512;
    static constexpr std::size_t kLargestWord = 65535;
    static constexpr std::size_t kLongestList = 255; // a dimension is one byte
    static constexpr std::size_t kHeaderEvents = 18;
    static constexpr std::size_t kEventKey = 12345; // labels of four characters

    // A parameter before its group is known: the groups may come after their parameters.
    struct Loose {
        int group;
        std::string name;
        Parameter parameter;
    };

    [[noreturn]] void Fail(const std::string& what) const { throw std::runtime_error(path_ + ": " + what); }

    void Check(bool holds, const std::string& what) const {
        if (!holds) Fail(what);
    }

    // Bytes, all little end first (processor type 84). Who calls these has checked that the place is in the file.

    int Signed8(std::size_t at) const { return static_cast<std::int8_t>(bytes_[at]); }

    std::size_t Unsigned16(std::size_t at) const { return bytes_[at] + std::size_t{256} * bytes_[at + 1]; }

    int Signed16(std::size_t at) const {
        return static_cast<std::int16_t>(static_cast<std::uint16_t>(Unsigned16(at)));
    }

    double Float(std::size_t at) const {
        const std::uint32_t bits = static_cast<std::uint32_t>(Unsigned16(at) + 65536 * Unsigned16(at + 2));
        return static_cast<double>(std::bit_cast<float>(bits));
    }

    std::string Text(std::size_t at, std::size_t length) const {
        std::string text;
        for (std::size_t i = 0; i < length; ++i) text.push_back(static_cast<char>(bytes_[at + i]));
        return text;
    }

    // The description numbers the words of the header from 1.
    static constexpr std::size_t HeaderAt(std::size_t word) { return 2 * (word - 1); }

    std::size_t HeaderWord(std::size_t word) const { return Unsigned16(HeaderAt(word)); }

    double HeaderFloat(std::size_t word) const { return Float(HeaderAt(word)); }

    // The words of the data section, counted from its start; a word is a float or a 16-bit integer.

    std::size_t WordsPerFrame() const { return 4 * points_ + channels_; }

    double Stored(std::size_t word, bool isUnsigned) const {
        if (floats_) return Float(sectionEnd_ + 4 * word);
        const std::size_t at = sectionEnd_ + 2 * word;
        return isUnsigned ? static_cast<double>(Unsigned16(at)) : static_cast<double>(Signed16(at));
    }

    void Load() {
        std::ifstream stream(path_, std::ios::binary);
        Check(stream.is_open(), "cannot be opened");
        const std::string content((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
        Check(!stream.bad(), "cannot be read");
        bytes_.reserve(content.size());
        for (const char character : content) bytes_.push_back(static_cast<unsigned char>(character));
    }

    // The parameters follow the header at once, in block 2: the file has no room for anything else.
    void CheckKeys() {
        Check(bytes_.size() >= 2 * kBlock, "is shorter than header and one block of parameters");
        Check(bytes_[1] == 0x50, "the header's key is not 0x50");
        Check(bytes_[0] == 2, "the parameters do not start in block 2");
        Check(bytes_[kBlock + 1] == 0x50, "the parameter section's key is not 0x50");
        Check(bytes_[kBlock + 3] == 84, "the processor type is not 84");
        const std::size_t blocks = bytes_[kBlock + 2];
        Check(blocks > 0, "the parameter section has no blocks");
        sectionEnd_ = kBlock * (1 + blocks);
        Check(bytes_.size() >= sectionEnd_, "ends within the parameter section");
    }

    void Inside(std::size_t at, std::size_t length) const {
        if (at > sectionEnd_ || length > sectionEnd_ - at) Fail("the chain of parameters leaves its section");
    }

    // Each record gives its length twice, by its content and by its offset: the two must agree. The chain ends
    // with an offset of 0 or with a name of no characters.
    void ReadParameters() {
        std::map<int, std::string> groups;
        std::vector<Loose> loose;
        std::size_t at = kBlock + 4;
        for (bool more = true; more;) {
            Inside(at, 2);
            const std::size_t length = static_cast<std::size_t>(std::abs(Signed8(at))); // negative: locked
            const int id = Signed8(at + 1);
            if (length == 0) {
                Check(id == 0, "a group or parameter has no name");
                break;
            }
            Check(id != 0 && id != -128, "a group's number is out of range");
            Inside(at + 2, length + 2);
            const std::string name = Name(at + 2, length);
            const std::size_t offsetAt = at + 2 + length;
            std::size_t end = offsetAt + 2;
            if (id < 0)
                Check(groups.emplace(-id, name).second, "two groups have the number of " + name);
            else
                loose.push_back({id, name, ReadParameter(end, name)});
            SkipDescription(end);
            const int offset = Signed16(offsetAt);
            more = offset != 0;
            Check(!more || (offset > 0 && offsetAt + static_cast<std::size_t>(offset) == end),
                  "the offset of " + name + " does not lead to its end");
            at = end;
        }
        Assign(groups, loose);
    }

    std::string Name(std::size_t at, std::size_t length) const {
        std::string name = Text(at, length);
        for (char& character : name) {
            if (character >= 'a' && character <= 'z') character = static_cast<char>(character - 'a' + 'A');
            const bool valid = (character >= 'A' && character <= 'Z') || (character >= '0' && character <= '9') ||
                               character == '_';
            Check(valid, "the name " + name + " has a character that is none of A-Z, 0-9, _");
        }
        return name;
    }

    void SkipDescription(std::size_t& at) const {
        Inside(at, 1);
        const std::size_t length = bytes_[at];
        Inside(at + 1, length);
        at += 1 + length;
    }

    // Reads from the element size on and moves to the length of the description.
    Parameter ReadParameter(std::size_t& at, const std::string& name) const {
        Inside(at, 2);
        Parameter parameter;
        parameter.elementSize = Signed8(at);
        const int size = parameter.elementSize;
        Check(size == -1 || size == 1 || size == 2 || size == 4, name + " has an unknown element size");
        const std::size_t count = bytes_[at + 1];
        Check(count <= 7, name + " has more than seven dimensions");
        at += 2;
        Inside(at, count);
        std::size_t elements = 1; // at most 255 to the seventh: no overflow
        for (std::size_t i = 0; i < count; ++i) {
            parameter.dimensions.push_back(bytes_[at + i]);
            elements *= bytes_[at + i];
        }
        at += count;
        const std::size_t width = static_cast<std::size_t>(std::abs(size));
        Inside(at, elements * width);
        if (size == -1) {
            // The first dimension is the length of each text.
            const std::size_t length = count == 0 ? 1 : parameter.dimensions.front();
            for (std::size_t i = 0; i < elements; i += length)
                parameter.texts.push_back(Detail::WithoutTrailingBlanks(Text(at + i, length)));
        } else {
            for (std::size_t i = 0; i < elements; ++i) parameter.numbers.push_back(Number(at + i * width, size));
        }
        at += elements * width;
        return parameter;
    }

    double Number(std::size_t at, int size) const {
        if (size == 4) return Float(at);
        return static_cast<double>(size == 2 ? Signed16(at) : Signed8(at));
    }

    void Assign(const std::map<int, std::string>& groups, const std::vector<Loose>& loose) {
        std::map<std::string, int> numbers;
        for (const auto& [number, name] : groups)
            Check(numbers.emplace(name, number).second, "the group " + name + " is there twice");
        for (const Loose& one : loose) {
            const auto group = groups.find(one.group);
            Check(group != groups.end(), "the parameter " + one.name + " belongs to no group");
            const std::string name = group->second + ":" + one.name;
            Check(parameters_.emplace(name, one.parameter).second, name + " is there twice");
        }
    }

    // One 16-bit integer, meant without sign.
    std::size_t Word(const std::string& name) const {
        const Parameter& parameter = Get(name);
        Check(parameter.elementSize == 2 && parameter.numbers.size() == 1, name + " is not one 16-bit integer");
        return Wrapped(parameter.numbers[0]);
    }

    static std::size_t Wrapped(double number) {
        return static_cast<std::size_t>(number < 0 ? number + 65536 : number);
    }

    double Real(const std::string& name) const {
        const Parameter& parameter = Get(name);
        Check(parameter.elementSize == 4 && parameter.numbers.size() == 1, name + " is not one float");
        Check(std::isfinite(parameter.numbers[0]), name + " is no finite number");
        return parameter.numbers[0];
    }

    // A list and its continuations: NAME, NAME2, NAME3 ... A list is continued only when it is full.
    std::vector<const Parameter*> Chain(const std::string& name) const {
        std::vector<const Parameter*> chain;
        const Parameter* part = Find(name);
        while (part) {
            chain.push_back(part);
            part = Find(name + std::to_string(chain.size() + 1));
            const std::vector<std::size_t>& dimensions = chain.back()->dimensions;
            Check(!part || (!dimensions.empty() && dimensions.back() == kLongestList),
                  name + " is continued before it is full");
        }
        return chain;
    }

    std::vector<double> ChainedNumbers(const std::string& name, std::size_t count) const {
        std::vector<double> numbers;
        for (const Parameter* part : Chain(name)) {
            Check(part->elementSize != -1, name + " is text");
            numbers.insert(numbers.end(), part->numbers.begin(), part->numbers.end());
        }
        Check(numbers.size() == count,
              name + " has " + std::to_string(numbers.size()) + " numbers, not " + std::to_string(count));
        for (const double number : numbers) Check(std::isfinite(number), name + " holds what is no finite number");
        return numbers;
    }

    void CheckPoints() {
        points_ = Word("POINT:USED");
        Check(HeaderWord(2) == points_, "the header's number of points is not POINT:USED");
        Labels("POINT:LABELS");
        const std::size_t start = Word("POINT:DATA_START");
        Check(HeaderWord(9) == start, "the header's start of data is not POINT:DATA_START");
        Check((start - 1) * kBlock == sectionEnd_, "the data do not start right after the parameters");
        scale_ = Real("POINT:SCALE");
        Check(HeaderFloat(7) == scale_, "the header's scale is not POINT:SCALE");
        Check(scale_ != 0, "POINT:SCALE is 0");
        floats_ = scale_ < 0;
        rate_ = Real("POINT:RATE");
        Check(HeaderFloat(11) == rate_, "the header's rate is not POINT:RATE");
        Check(rate_ > 0, "POINT:RATE is not positive");
    }

    // Two 16-bit words, the low one first.
    std::size_t Field(const std::string& name) const {
        const Parameter& parameter = Get(name);
        Check(parameter.elementSize == 2 && parameter.numbers.size() == 2, name + " is not two 16-bit integers");
        return Wrapped(parameter.numbers[0]) + 65536 * Wrapped(parameter.numbers[1]);
    }

    // The header and POINT:FRAMES hold at most 65535; whatever is larger stands there as 65535, and TRIAL then
    // has the true numbers of the first and last frame. Where TRIAL is there it must agree in any case.
    void CheckFrames() {
        std::size_t first = HeaderWord(4);
        std::size_t last = HeaderWord(5);
        if (Find("TRIAL:ACTUAL_START_FIELD") || Find("TRIAL:ACTUAL_END_FIELD")) {
            first = Field("TRIAL:ACTUAL_START_FIELD");
            last = Field("TRIAL:ACTUAL_END_FIELD");
        }
        Check(HeaderWord(4) == std::min(first, kLargestWord), "the header's first frame is not TRIAL's");
        Check(HeaderWord(5) == std::min(last, kLargestWord), "the header's last frame is not TRIAL's");
        Check(first >= 1, "the first frame is 0: frames count from 1");
        Check(last + 1 >= first, "the last frame is before the first");
        frames_ = last + 1 - first;
        Check(Word("POINT:FRAMES") == std::min(frames_, kLargestWord),
              "POINT:FRAMES is not what the first and last frame say");
    }

    // Only one analog sample a frame is read, which is all that Analog() can return.
    void CheckAnalog() {
        channels_ = Find("ANALOG:USED") ? Word("ANALOG:USED") : 0;
        const std::size_t samples = HeaderWord(10);
        Check(HeaderWord(3) == channels_ * samples || (channels_ == 0 && HeaderWord(3) == 0),
              "the header's analog count is not ANALOG:USED times the samples per frame");
        if (channels_ == 0) {
            Check(samples <= 1, "the header has analog samples per frame, but no channels");
            Check(Chain("ANALOG:LABELS").empty() || Labels("ANALOG:LABELS").empty(), "ANALOG:LABELS without USED");
            return;
        }
        Check(samples == 1, "the header's number of analog samples per frame is not 1");
        Check(Real("ANALOG:RATE") == rate_, "ANALOG:RATE is not POINT:RATE times the samples per frame");
        Labels("ANALOG:LABELS");
        generalScale_ = Real("ANALOG:GEN_SCALE");
        analogScales_ = ChainedNumbers("ANALOG:SCALE", channels_);
        analogOffsets_ = ChainedNumbers("ANALOG:OFFSET", channels_);
        const Parameter* format = Find("ANALOG:FORMAT");
        unsignedAnalog_ = format && format->texts == std::vector<std::string>{"UNSIGNED"};
        for (double& offset : analogOffsets_)
            if (unsignedAnalog_ && Get("ANALOG:OFFSET").elementSize == 2)
                offset = static_cast<double>(Wrapped(offset));
    }

    void CheckLength() const {
        const std::size_t wordSize = floats_ ? 4 : 2;
        const std::size_t length = sectionEnd_ + frames_ * WordsPerFrame() * wordSize;
        Check(bytes_.size() == length, "is " + std::to_string(bytes_.size()) +
                                           " bytes long where header, parameters and frames take " +
                                           std::to_string(length));
    }

    // TIMES has two rows: minutes and seconds.
    void ReadEvents() {
        if (!Find("EVENT:USED")) {
            Check(!Find("EVENT:LABELS") && !Find("EVENT:TIMES"), "EVENT has events, but no USED");
            return;
        }
        const std::vector<std::string> labels = Labels("EVENT:LABELS");
        const std::vector<double> times = ChainedNumbers("EVENT:TIMES", 2 * labels.size());
        for (const Parameter* part : Chain("EVENT:TIMES")) {
            Check(part->elementSize == 4, "EVENT:TIMES are no floats");
            Check(!part->dimensions.empty() && (part->dimensions[0] == 2 || labels.empty()),
                  "EVENT:TIMES has not two rows");
        }
        if (Find("EVENT:CONTEXTS")) Labels("EVENT:CONTEXTS");
        for (std::size_t i = 0; i < labels.size(); ++i)
            events_.emplace_back(60 * times[2 * i] + times[2 * i + 1], labels[i]);
    }

    // The header repeats the first 18 events with the first four characters of their labels. Both places hold
    // floats, one of the whole time and one of the seconds: they may differ by their rounding, not by more.
    void CheckHeaderEvents() const {
        const std::size_t count = HeaderWord(151);
        Check(count == std::min(events_.size(), kHeaderEvents), "the header's number of events is not EVENT's");
        Check(count == 0 || HeaderWord(150) == kEventKey, "the header's key of events is not 12345");
        for (std::size_t i = 0; i < count; ++i) {
            const auto& [time, label] = events_[i];
            const std::string which = "the header's event " + std::to_string(i + 1);
            const double tolerance = 4e-6 + 1.2e-7 * std::abs(time);
            Check(std::abs(HeaderFloat(153 + 2 * i) - time) <= tolerance, which + " has not EVENT's time");
            const std::string short4 = Detail::WithoutTrailingBlanks(Text(HeaderAt(199 + 2 * i), 4));
            Check(short4 == Detail::WithoutTrailingBlanks(label.substr(0, 4)), which + " has not EVENT's label");
        }
    }

    // The parameter must have the rows given and then as many as there are plates; one plate needs no dimension.
    const Parameter& PlateParameter(const std::string& name, std::vector<std::size_t> rows) const {
        const std::string fullName = "FORCE_PLATFORM:" + name;
        const Parameter& parameter = Get(fullName);
        Check(parameter.elementSize != -1, fullName + " is text");
        const bool single = plates_.size() == 1 && parameter.dimensions == rows;
        rows.push_back(plates_.size());
        Check(single || parameter.dimensions == rows, fullName + " has the wrong dimensions");
        for (const double number : parameter.numbers)
            Check(std::isfinite(number), fullName + " holds what is no finite number");
        return parameter;
    }

    void ReadPlatforms() {
        if (!Find("FORCE_PLATFORM:USED") || Word("FORCE_PLATFORM:USED") == 0) return;
        plates_.resize(Word("FORCE_PLATFORM:USED"));
        const Parameter& zero = Get("FORCE_PLATFORM:ZERO");
        Check(zero.numbers == std::vector<double>{0, 0}, "FORCE_PLATFORM:ZERO is not 0 0");
        const Parameter& types = PlateParameter("TYPE", {});
        const Parameter& corners = PlateParameter("CORNERS", {3, 4});
        const Parameter& origins = PlateParameter("ORIGIN", {3});
        Check(corners.elementSize == 4 && origins.elementSize == 4, "CORNERS or ORIGIN are no floats");
        for (std::size_t i = 0; i < plates_.size(); ++i) {
            Detail::Plate& plate = plates_[i];
            plate.type = static_cast<int>(types.numbers[i]);
            SetAxes(plate, corners.numbers, 12 * i);
            std::copy_n(origins.numbers.begin() + static_cast<std::ptrdiff_t>(3 * i), 3, plate.origin.begin());
            if (plate.type == 3) {
                Check(plate.origin[0] > 0 && plate.origin[1] > 0, "a or b of a platform is not positive");
                SetChannels(plate, i, 8);
            } else if (plate.type == 4) {
                SetChannels(plate, i, 6);
                const Parameter& matrix = PlateParameter("CAL_MATRIX", {6, 6});
                Check(matrix.elementSize == 4, "FORCE_PLATFORM:CAL_MATRIX are no floats");
                std::copy_n(matrix.numbers.begin() + static_cast<std::ptrdiff_t>(36 * i), 36,
                            plate.calibration.begin());
            }
            // z points down and the surface is above the origin.
            Check(plate.origin[2] <= 0, "FORCE_PLATFORM:ORIGIN is above the working surface");
        }
    }

    // Corners: +x +y of the plate, then -x +y, -x -y, +x -y.
    void SetAxes(Detail::Plate& plate, const std::vector<double>& numbers, std::size_t start) const {
        std::array<Vector, 4> corner{};
        for (std::size_t i = 0; i < 4; ++i) {
            corner[i] = {numbers[start + 3 * i], numbers[start + 3 * i + 1], numbers[start + 3 * i + 2]};
            plate.centre = Detail::Add(plate.centre, corner[i], 0.25);
        }
        const Vector alongX =
            Detail::Add(Detail::Add(corner[0], corner[3]), Detail::Add(corner[1], corner[2]), -1);
        const Vector alongY =
            Detail::Add(Detail::Add(corner[0], corner[1]), Detail::Add(corner[2], corner[3]), -1);
        const Vector x = Detail::Unit(alongX);
        const Vector y = Detail::Unit(alongY);
        // Written so that a plate without extent, whose axes are no numbers, is refused as well.
        Check(std::abs(Detail::Dot(x, y)) < 1e-2, "the corners of a force platform are no rectangle");
        const Vector z = Detail::Unit(Detail::Cross(x, y));
        Check(z[2] < 0, "the z axis of a force platform does not point down");
        plate.axes = {x, Detail::Cross(z, x), z};
    }

    // CHANNEL has as many rows as the platform with the most channels needs, and counts from 1.
    void SetChannels(Detail::Plate& plate, std::size_t index, std::size_t count) const {
        const Parameter& all = Get("FORCE_PLATFORM:CHANNEL");
        const std::size_t rows = all.dimensions.empty() ? 0 : all.dimensions.front();
        const Parameter& channel = PlateParameter("CHANNEL", {rows});
        Check(channel.elementSize == 2 && rows >= count, "FORCE_PLATFORM:CHANNEL has too few rows or no integers");
        for (std::size_t i = 0; i < count; ++i) {
            const std::size_t number = Wrapped(channel.numbers[index * rows + i]);
            Check(number >= 1 && number <= channels_, "FORCE_PLATFORM:CHANNEL names a channel that is not there");
            plate.channels.push_back(number - 1);
        }
    }

    // Both return the load about the centre of the working surface.

    // Channels Fx12 Fx34 Fy14 Fy23 Fz1 Fz2 Fz3 Fz4; the sensors stand at (a, b), (-a, b), (-a, -b), (a, -b), and
    // the surface at az0, which is negative.
    Detail::Load LoadOfType3(std::size_t frame, const Detail::Plate& plate) const {
        std::array<double, 8> f{};
        for (std::size_t i = 0; i < 8; ++i) f[i] = Analog(frame, plate.channels[i]);
        const double a = plate.origin[0];
        const double b = plate.origin[1];
        Detail::Load load;
        load.force = {f[0] + f[1], f[2] + f[3], f[4] + f[5] + f[6] + f[7]};
        load.moment = {b * (f[4] + f[5] - f[6] - f[7]), a * (-f[4] + f[5] + f[6] - f[7]),
                       b * (-f[0] + f[1]) + a * (f[2] - f[3])};
        return Moved(load, {0, 0, plate.origin[2]});
    }

    Detail::Load LoadOfType4(std::size_t frame, const Detail::Plate& plate) const {
        std::array<double, 6> output{};
        for (std::size_t input = 0; input < 6; ++input) {
            const double value = Analog(frame, plate.channels[input]);
            for (std::size_t row = 0; row < 6; ++row) output[row] += plate.calibration[row + 6 * input] * value;
        }
        Detail::Load load;
        load.force = {output[0], output[1], output[2]};
        load.moment = {output[3], output[4], output[5]};
        return Moved(load, plate.origin);
    }

    // The same load about a point that lies at "to", seen from the point it was about.
    static Detail::Load Moved(const Detail::Load& load, const Vector& to) {
        return {load.force, Detail::Add(load.moment, Detail::Cross(to, load.force), -1)};
    }

    std::string path_;
    std::vector<unsigned char> bytes_;
    std::map<std::string, Parameter> parameters_;
    std::size_t sectionEnd_ = 0; // where the parameters end and the data start
    std::size_t points_ = 0;
    std::size_t channels_ = 0;
    std::size_t frames_ = 0;
    double scale_ = 0;
    double rate_ = 0;
    bool floats_ = false;
    bool unsignedAnalog_ = false;
    double generalScale_ = 1;
    std::vector<double> analogScales_;
    std::vector<double> analogOffsets_;
    std::vector<std::pair<double, std::string>> events_;
    std::vector<Detail::Plate> plates_;
};

} // namespace C3d

#endif // TESTS_EXPORT_C3D_READER_H

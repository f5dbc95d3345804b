#include "simulate/FaultyLink.h"

#include <fmt/format.h>

#include "Wording.h"

bool FaultyLink::Send(Bytes datagram, const std::optional<Place>& place, const Sink& sink) {
    if (Happens(m_faults.foreign)) {
        ++m_done.foreign;
        const unsigned char other[] = "\x80\x60\x00\x01 a datagram of another protocol";
        sink(other);
    }
    if (IsLost()) {
        ++m_done.lost;
        return true;
    }
    Parcel parcel{{datagram.begin(), datagram.end()}, place, false, sink};
    Damage(parcel);
    if (!m_held && Happens(m_faults.reorder)) {
        ++m_done.reordered;
        m_held = std::move(parcel);
        return true;
    }
    bool taken = Deliver(parcel);
    if (Happens(m_faults.duplicate)) {
        ++m_done.duplicated;
        taken = Deliver(parcel) && taken;
    }
    if (m_held) {
        taken = Deliver(*m_held) && taken;
        m_held.reset();
    }
    return taken;
}

bool FaultyLink::IsLost() {
    if (m_stillToLose > 0) {
        --m_stillToLose;
        return true;
    }
    // A burst begins so much more seldom that the fraction stays.
    if (!Happens(m_faults.loss / m_faults.burst)) return false;
    m_stillToLose = m_faults.burst - 1;
    return true;
}

void FaultyLink::Damage(Parcel& parcel) {
    const auto somewhere = [&] {
        return std::uniform_int_distribution<std::size_t>(0, parcel.bytes.size() - 1)(m_random);
    };
    if (Happens(m_faults.corrupt)) {
        ++m_done.corrupted;
        parcel.changed = true;
        parcel.bytes[somewhere()] ^=
            static_cast<unsigned char>(std::uniform_int_distribution<int>(1, 255)(m_random));
    }
    if (Happens(m_faults.truncate)) {
        ++m_done.truncated;
        parcel.changed = true;
        parcel.bytes.resize(somewhere());
    }
}

bool FaultyLink::Deliver(const Parcel& parcel) {
    Follow(parcel);
    return parcel.sink(parcel.bytes);
}

void FaultyLink::Follow(const Parcel& parcel) {
    if (!parcel.place) return; // goes elsewhere
    const auto& [frame, index, count] = *parcel.place;
    const bool inRun = !parcel.changed && frame == m_run.frame && m_run.next > 0;
    if (inRun && index + 1 == m_run.next) return;
    if (inRun && index == m_run.next) {
        ++m_run.next;
        return;
    }
    m_run = !parcel.changed && index == 0 ? Run{frame, 1, count} : Run{};
}

std::string FaultyLink::Summary() const {
    return fmt::format("{} lost, {} duplicated, {} reordered, {} corrupted, {} truncated, {} foreign",
                       Counted(m_done.lost, "datagram"), m_done.duplicated, m_done.reordered, m_done.corrupted,
                       m_done.truncated, m_done.foreign);
}

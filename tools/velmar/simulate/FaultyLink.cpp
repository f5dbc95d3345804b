#include "simulate/FaultyLink.h"

#include <fmt/format.h>

#include <utility>

#include "TarvoWire.h"
#include "Wording.h"

bool FaultyLink::Send(Bytes datagram, const std::optional<Place>& place, const Sink& sink) {
    if (Happens(m_faults.foreign)) {
        const unsigned char other[] = "\x80\x60\x00\x01 a datagram of another protocol";
        if (sink(other)) Note(place, &FaultCounts::foreign);
    }
    if (IsLost(place)) {
        Note(place, &FaultCounts::lost);
        return true;
    }
    Parcel parcel{{datagram.begin(), datagram.end()}, place, sink};
    Damage(parcel);
    if (!m_held && Happens(m_faults.reorder)) {
        m_held = std::move(parcel);
        return true;
    }
    bool taken = Deliver(parcel);
    if (taken && Happens(m_faults.duplicate)) {
        taken = parcel.sink(parcel.bytes);
        if (taken) Note(place, &FaultCounts::duplicated);
    }
    // An answer, which goes elsewhere, is not what a datagram of the stream changes places with.
    if (m_held && (place || !m_held->place)) {
        NoteSwap(parcel);
        taken = Release() && taken;
    }
    return taken;
}

bool FaultyLink::Release() {
    const std::optional<Parcel> held = std::exchange(m_held, std::nullopt);
    return !held || Deliver(*held);
}

void FaultyLink::Note(const std::optional<Place>& place, long long FaultCounts::*what) {
    ++(m_done.*what);
    if (place) ++(place->frame->counts.*what);
}

void FaultyLink::NoteSwap(const Parcel& before) {
    Note(m_held->place, &FaultCounts::reordered);
    if (before.place && m_held->place && before.place->frame != m_held->place->frame)
        ++before.place->frame->counts.reordered;
}

void FaultyLink::PlanFrame(const FrameFate& frame) {
    m_losesFrame = Happens(m_faults.loseFrames);
    m_middleToLose = 0;
    if (frame.datagrams >= 3 && Happens(m_faults.loseMiddle))
        m_middleToLose = 1 + static_cast<unsigned int>(Below(frame.datagrams - 2));
}

bool FaultyLink::IsLost(const std::optional<Place>& place) {
    if (place && place->index == 0) PlanFrame(*place->frame);
    if (place && (m_losesFrame || (m_middleToLose != 0 && place->index == m_middleToLose))) return true;
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
    if (Happens(m_faults.corrupt)) {
        const auto change = static_cast<unsigned char>(std::uniform_int_distribution<int>(1, 255)(m_random));
        const std::size_t at = Below(parcel.bytes.size());
        parcel.bytes[at] ^= change;
        parcel.state = at < kPackageHeaderSize ? Parcel::kUnclear : Parcel::kAltered;
        Note(parcel.place, &FaultCounts::corrupted);
        if (at < kPackageHeaderSize) Note(parcel.place, &FaultCounts::corruptedHeader);
    }
    if (Happens(m_faults.wrongMagic)) {
        parcel.bytes[0] = static_cast<unsigned char>(~kPackageMagic);
        parcel.state = Parcel::kRejected;
        Note(parcel.place, &FaultCounts::wrongMagic);
    }
    if (Happens(m_faults.truncate)) {
        const std::size_t size = Below(parcel.bytes.size());
        parcel.bytes.resize(size);
        // A changed header may happen to state the length that is left.
        if (parcel.state != Parcel::kUnclear) parcel.state = Parcel::kRejected;
        Note(parcel.place, &FaultCounts::truncated);
        if (size < kPackageHeaderSize) Note(parcel.place, &FaultCounts::truncatedHeader);
    }
}

bool FaultyLink::Deliver(const Parcel& parcel) {
    const bool taken = parcel.sink(parcel.bytes);
    if (taken)
        Join(parcel);
    else
        Note(parcel.place, &FaultCounts::unsent);
    return taken;
}

void FaultyLink::Join(const Parcel& parcel) {
    if (!parcel.place || parcel.state == Parcel::kRejected) return; // a client's stream has nothing of it
    const auto [frame, index] = *parcel.place;
    const bool isClear = parcel.state != Parcel::kUnclear;
    if (isClear && index > 0 && index + 1 == m_joined.next) return; // dropped as a repetition, whosever it is
    if (isClear && index == 0) {
        m_joined = {frame->frame, 1, parcel.state == Parcel::kAltered};
    } else if (isClear && index == m_joined.next) {
        ++m_joined.next;
        m_joined.torn |= parcel.state == Parcel::kAltered || frame->frame != m_joined.frame;
    } else {
        m_joined = {};
    }
    if (m_joined.next != frame->datagrams) return;
    if (m_joined.torn)
        Note(parcel.place, &FaultCounts::torn);
    else
        frame->leftWhole = true;
    m_joined = {};
}

std::string FaultyLink::Summary() const {
    return fmt::format(
        "{} lost, {} duplicated, {} reordered, {} corrupted, {} truncated, {} foreign, {} of a wrong magic",
        Counted(m_done.lost, "datagram"), m_done.duplicated, m_done.reordered, m_done.corrupted, m_done.truncated,
        m_done.foreign, m_done.wrongMagic);
}

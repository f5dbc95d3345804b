// What velmar doctor examines: each check looks at one thing that can keep frames from arriving. They run in a
// fixed order, and a later one uses what an earlier one found out.
#ifndef VELMAR_DOCTOR_CHECKS_H
#define VELMAR_DOCTOR_CHECKS_H

#include <optional>
#include <string>

#include "Client.h"
#include "doctor/Observation.h"
#include "doctor/SystemFigures.h"
#include "wire/UdpSocket.h"

// In ascending order of what it means for whoever waits for frames.
enum class State {
    kOk,
    kUnknown, // the system does not tell this user
    kWarning,
    kLoss, // a warning that frames are lost by
    kFailure
};

struct Finding {
    State state = State::kOk;
    std::string text;
    std::string cause{};  // of what is no better than a warning: a name that stays the same in every version
    std::string remedy{}; // of the same: what to do about it, and how to make it last
};

struct Examination {
    std::string server;
    std::optional<std::string>
        chosen{};                   // the interface to be joined, by name or address; or what faces the server
    Client client{server, false};   // looks at the stream as an application does, from its check on
    in_addr address{};              // known after the name
    unsigned int groupInterface{0}; // on which the client joins; known after the routes, for sure after the client
    unsigned int defaultInterface{0}; // on which it joins too, of a server on this machine
    UdpSocket commands{};             // towards the server
    UdpSocket data{};                 // prepared as the library prepares its own
    Observation seen{};
    sStreamStatistics account{};        // the client's, of the same time
    std::optional<long long> reached{}; // packets of the stream, before the packet filter; for root
    Counters before{};                  // of the system, around the observation
    Counters after{};
    long long dropsBefore = 0; // at the data port

    long long Grown(const std::string& counter) const;
};

Finding CheckName(Examination& examination);
Finding CheckRouteToServer(Examination& examination);
Finding CheckInterfaceToJoin(Examination& examination);
Finding CheckServer(Examination& examination);
Finding CheckDataPort(Examination& examination);
Finding CheckMembership(Examination& examination);
Finding CheckClient(Examination& examination);
Finding CheckArrivals(Examination& examination); // observes the stream; the checks below judge what it saw
Finding CheckReceiveBuffer(Examination& examination);
Finding CheckReversePath(Examination& examination);
Finding CheckIpFragments(Examination& examination);
Finding CheckFirewall(Examination& examination);
Finding CheckInterface(Examination& examination);
Finding CheckProtocol(Examination& examination);
Finding CheckMessageFragments(Examination& examination);
Finding CheckFrames(Examination& examination);
Finding CheckLosses(Examination& examination);
Finding CheckNumbers(Examination& examination);
Finding CheckPauses(Examination& examination);

#endif

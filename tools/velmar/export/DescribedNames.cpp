#include "export/DescribedNames.h"

#include <algorithm>

#include "AppDataModel.h"
#include "query/DescribeAsJson.h"
#include "simulate/ServerRecords.h"

DescribedNames::DescribedNames(const Recording& recording) {
    sServerDescription server{};
    if (recording.server)
        std::copy_n(recording.server->begin(), std::min(recording.server->size(), sizeof server.bytes),
                    server.bytes);
    simulated = IsSimulated(server);
    if (!recording.descriptions) return;
    sDataDescriptions* decoded = nullptr;
    int length = 0;
    const std::vector<unsigned char>& body = *recording.descriptions;
    CAppDataModel().DecodeDescription(body.data(), static_cast<unsigned int>(body.size()), length, decoded);
    list.reset(decoded);
    if (decoded == nullptr) return;
    const FloatJson document = DescribeAsJson(server, *decoded);
    for (const FloatJson& entry : document["descriptions"]) {
        const std::string name = entry.value("name", "");
        int index = 0;
        for (const FloatJson& marker : entry.value("markers", FloatJson::array())) markers[name][index++] = marker;
        if (entry["type"] == "rigid body" && entry.contains("id")) rigidBodies[entry["id"]] = name;
        if (entry["type"] == "skeleton") skeletons[entry["id"]] = name;
        for (const FloatJson& bone : entry.value("bones", FloatJson::array()))
            bones[entry["id"]][index++] = bone["name"];
    }
}

#include "take/DescribedNames.h"

#include "query/DescribeAsJson.h"
#include "simulate/ServerRecords.h"

DescribedNames::DescribedNames(const RecordedDescriptions& descriptions)
    : simulated(IsSimulated(descriptions.server)) {
    if (descriptions.list == nullptr) return;
    const FloatJson document = DescribeAsJson(descriptions.server, *descriptions.list);
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

// The class as a C++ program uses it, compiled as C++11: the header asks for no more.
#include <cstring>

#include "TarvoSDKClient.h"

int main() {
    TarvoSDKClient client;
    unsigned char version[4] = {};
    const unsigned char wanted[4] = {2, 5, 28, 75};
    client.TarvoSDKVersion(version);
    sDataDescriptions* list = nullptr;
    const int result = client.GetDataDescriptions(&list);
    return std::memcmp(version, wanted, sizeof wanted) == 0 && result == 10 && list == nullptr ? 0 : 1;
}

// Decodes and releases the frame of one walking figure so many times, as frames that arrive are, for an instrument
// that counts instructions.
#include <cstdlib>
#include <vector>

#include "AppDataModel.h"
#include "model/FrameStore.h"
#include "motion/WalkingFigure.h"
#include "simulate/FrameComposer.h"

int main(int argc, char** argv) {
    const WalkingFigure figure;
    FrameComposer composer(figure, ForcePlateRig({}), Load{});
    std::vector<unsigned char> body(composer.BodySize());
    int length = 0;
    CAppDataModel model;
    model.EncodeMocap(&composer.ComposeAt(1, 2.9), body.data(), length);
    for (int left = argc > 1 ? std::atoi(argv[1]) : 1; left > 0; --left) {
        CFrameStore& store = CFrameStore::Instance();
        if (!store.GiveBack(store.Decode(body.data(), static_cast<unsigned int>(body.size())))) return 1;
    }
    return 0;
}

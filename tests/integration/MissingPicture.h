// Makes the library log a line at the level of errors.
#pragma once

#include "tests/support/Imaging.h"
#include "vimbrel/MediaSourcePicture.h"

inline void OpenMissingPicture() {
    const Vimbrel::test::Imaging imaging;
    Vimbrel::MediaSourcePicture source;
    source.SetWicImagingFactory(imaging.factory.Get());
    source.SetFileName(L"/vimbrel/there/is/no/such.png");
    source.Open();
}

#include "Images.h"

#include <QtGlobal>

// Q_INIT_RESOURCE must be used outside any namespace.
static void initImagesQrc() {
    Q_INIT_RESOURCE(images);
}

void InitImageResources() {
    static const bool done = (initImagesQrc(), true);
    (void)done;
}

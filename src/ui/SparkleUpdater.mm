#include "ui/SparkleUpdater.h"

#import <Sparkle/Sparkle.h>

// Built with ARC: the C++ side holds one retain, taken in create() and given back in destroy().
// Without ARC, CFBridgingRetain would add a second retain to alloc's and the controller would leak.
#if !__has_feature(objc_arc)
#error "SparkleUpdater.mm needs -fobjc-arc (src/ui/CMakeLists.txt)"
#endif

void *SparkleUpdater::create()
{
    SPUStandardUpdaterController *controller = [[SPUStandardUpdaterController alloc] initWithStartingUpdater:YES
                                                                                             updaterDelegate:nil
                                                                                          userDriverDelegate:nil];
    return (void *)CFBridgingRetain(controller);
}

void SparkleUpdater::destroy(void *controller)
{
    if (controller) {
        (void)CFBridgingRelease(controller);
    }
}

bool SparkleUpdater::canCheckForUpdates(void *controller)
{
    return ((__bridge SPUStandardUpdaterController *)controller).updater.canCheckForUpdates;
}

void SparkleUpdater::checkForUpdates(void *controller)
{
    [(__bridge SPUStandardUpdaterController *)controller checkForUpdates:nil];
}

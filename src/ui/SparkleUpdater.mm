#include "ui/SparkleUpdater.h"

#import <Sparkle/Sparkle.h>

// Built with ARC: the C++ side holds one retain, taken in create() and given back in destroy().

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

#pragma once

// Sparkle's standard updater controller behind plain C++ (the Objective-C++ side is
// SparkleUpdater.mm, built only on macOS when the framework was found).
namespace SparkleUpdater {

// Started at once, with no delegates: automatic checks follow the bundle's Sparkle settings.
void *create();
void destroy(void *controller);
bool canCheckForUpdates(void *controller);
void checkForUpdates(void *controller);

} // namespace SparkleUpdater

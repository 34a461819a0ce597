#pragma once
// The part of Sparkle 2's public interface that src/ui/SparkleUpdater.mm uses, as Sparkle declares it.
#import <Foundation/Foundation.h>

@interface SPUUpdater : NSObject
@property(nonatomic, readonly) BOOL canCheckForUpdates;
@end

@interface SPUStandardUpdaterController : NSObject
- (instancetype)initWithStartingUpdater:(BOOL)startUpdater
                        updaterDelegate:(id)updaterDelegate
                     userDriverDelegate:(id)userDriverDelegate;
@property(nonatomic, readonly) SPUUpdater *updater;
- (void)checkForUpdates:(id)sender;
@end

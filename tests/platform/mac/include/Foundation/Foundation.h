#pragma once
// The part of Foundation that src/ui/SparkleUpdater.mm reaches, with Apple's declarations (the
// bridging functions as NSObject.h defines them), so the file can be compiled, not linked, on Linux.
typedef signed char BOOL;
#define YES ((BOOL)1)
#define NO ((BOOL)0)
typedef const void *CFTypeRef;
#define nil nullptr
extern "C" CFTypeRef CFRetain(CFTypeRef cf);

__attribute__((objc_root_class))
@interface NSObject
+ (instancetype)alloc;
- (instancetype)init;
- (instancetype)autorelease;
@end

#if __has_feature(objc_arc)
static inline __attribute__((cf_returns_retained)) CFTypeRef CFBridgingRetain(id X)
{
    return (__bridge_retained CFTypeRef)X;
}

static inline id CFBridgingRelease(CFTypeRef __attribute__((cf_consumed)) X)
{
    return (__bridge_transfer id)X;
}
#else
static inline CFTypeRef CFBridgingRetain(id X)
{
    return X ? CFRetain((CFTypeRef)X) : nullptr;
}

static inline id CFBridgingRelease(CFTypeRef X)
{
    return [(id)X autorelease];
}
#endif

#pragma once
// The part of CoreFoundation that src/platform/ChangeNotice.cpp uses, with Apple's signatures, so
// its macOS branch can be compiled (not linked) on Linux.
typedef unsigned char Boolean;
typedef long CFIndex;
typedef const struct __CFString *CFStringRef;
typedef CFStringRef CFNotificationName;
typedef struct __CFNotificationCenter *CFNotificationCenterRef;
typedef const struct __CFDictionary *CFDictionaryRef;
typedef void (*CFNotificationCallback)(CFNotificationCenterRef center, void *observer, CFNotificationName name,
                                       const void *object, CFDictionaryRef userInfo);
typedef CFIndex CFNotificationSuspensionBehavior;
enum : CFIndex {
    CFNotificationSuspensionBehaviorDrop = 1,
    CFNotificationSuspensionBehaviorCoalesce = 2,
    CFNotificationSuspensionBehaviorHold = 3,
    CFNotificationSuspensionBehaviorDeliverImmediately = 4
};
extern "C" {
CFStringRef __CFStringMakeConstantString(const char *cStr);
CFNotificationCenterRef CFNotificationCenterGetDistributedCenter(void);
void CFNotificationCenterAddObserver(CFNotificationCenterRef center, const void *observer,
                                     CFNotificationCallback callBack, CFStringRef name, const void *object,
                                     CFNotificationSuspensionBehavior suspensionBehavior);
void CFNotificationCenterRemoveObserver(CFNotificationCenterRef center, const void *observer, CFNotificationName name,
                                        const void *object);
void CFNotificationCenterPostNotification(CFNotificationCenterRef center, CFNotificationName name, const void *object,
                                          CFDictionaryRef userInfo, Boolean deliverImmediately);
}
#define CFSTR(cStr) __CFStringMakeConstantString("" cStr "")

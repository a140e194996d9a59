#pragma once

#import <GeoloomObjC/GeoloomObjC.h>

#include "tests/objc/Service.h"

/// A test case in Objective-C. CMake finds the cases by this word and runs each in its own process.
#define TEST_CASE(name)                                       \
  static void name(void);                                     \
  __attribute__((constructor)) static void add_##name(void) { \
    addTestCase(#name, name);                                 \
  }                                                           \
  static void name(void)

void addTestCase(const char* name, void (*run)(void));

/// A failure is printed and the case continues.
#define EXPECT(...) expect((__VA_ARGS__), #__VA_ARGS__, __FILE__, __LINE__)
void expect(BOOL holds, const char* condition, const char* file, int line);
#define EXPECT_EQUAL(one, other) expectEqual((one), (other), #one, __FILE__, __LINE__)
void expectEqual(id one, id other, const char* what, const char* file, int line);
#define EXPECT_RAISES(expression)                                 \
  do {                                                            \
    BOOL hasRaised = NO;                                          \
    @try {                                                        \
      (void)(expression);                                         \
    } @catch (NSException * raised) {                             \
      hasRaised = YES;                                            \
    }                                                             \
    expect(hasRaised, #expression " raises", __FILE__, __LINE__); \
  } while (0)

/// Runs the main thread's run loop until the condition holds; fails after 30 s.
#define RUN_UNTIL(condition)                                               \
  do {                                                                     \
    NSDate* deadline = [NSDate dateWithTimeIntervalSinceNow:30];           \
    while (!(condition) && [deadline timeIntervalSinceNow] > 0) runLoop(); \
    EXPECT(condition);                                                     \
  } while (0)
void runLoop(void);

/// A session of user u7 on map m3 with the developer key "abc", over the service of Service.h.
MapSession* openSession(MapMode mode);
MapSession* makeSession(ARSession* arSession, NSInteger mode, MapSessionConfiguration* configuration);
MapSessionConfiguration* makeConfiguration(void);

/// Counts its living objects.
@interface Canary : NSObject
+ (int)count;
@end

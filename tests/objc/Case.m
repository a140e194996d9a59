#import "tests/objc/Case.h"

#include <stdio.h>
#include <string.h>

#include "tests/objc/Service.h"

enum { MOST_CASES = 32 };

static struct {
  const char* name;
  void (*run)(void);
} cases[MOST_CASES];
static size_t caseCount;
static int failures;
static int canaries;

void addTestCase(const char* name, void (*run)(void)) {
  if (caseCount == MOST_CASES) abort();
  cases[caseCount].name = name;
  cases[caseCount++].run = run;
}

void expect(BOOL holds, const char* condition, const char* file, int line) {
  if (holds) return;
  __atomic_add_fetch(&failures, 1, __ATOMIC_SEQ_CST);
  fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, condition);
}

void expectEqual(id one, id other, const char* what, const char* file, int line) {
  if (one == other || [one isEqual:other]) return;
  expect(NO, [[NSString stringWithFormat:@"%s is %@, not %@", what, one, other] UTF8String], file, line);
}

void runLoop(void) {
  NSAutoreleasePool* pool = [NSAutoreleasePool new];
  [[NSRunLoop currentRunLoop] runMode:NSDefaultRunLoopMode
                           beforeDate:[NSDate dateWithTimeIntervalSinceNow:0.01]];
  [pool release];
}

MapSessionConfiguration* makeConfiguration(void) {
  return [[[MapSessionConfiguration alloc] initWithSceneUnderstandingConfidenceThreshold:0.6F
                                                              featureMatchDistanceMeters:0.5F] autorelease];
}

MapSession* makeSession(ARSession* arSession, NSInteger mode, MapSessionConfiguration* configuration) {
  return [[[MapSession alloc] initWithArSession:arSession
                                        mapMode:mode
                                         userID:@"u7"
                                          mapID:@"m3"
                                   developerKey:@"abc"
                                   screenHeight:812
                                    screenWidth:375
                        mapSessionConfiguration:configuration] autorelease];
}

MapSession* openSession(MapMode mode) {
  return makeSession([[ARSession new] autorelease], mode, makeConfiguration());
}

@implementation Canary

+ (int)count {
  return __atomic_load_n(&canaries, __ATOMIC_SEQ_CST);
}

- (id)init {
  if ((self = [super init]) != nil) __atomic_add_fetch(&canaries, 1, __ATOMIC_SEQ_CST);
  return self;
}

- (void)dealloc {
  __atomic_sub_fetch(&canaries, 1, __ATOMIC_SEQ_CST);
  [super dealloc];
}

@end

int main(int count, char** arguments) {
  NSAutoreleasePool* pool = [NSAutoreleasePool new];
  BOOL hasRun = NO;
  for (size_t i = 0; i < caseCount; ++i) {
    if (count != 2 || strcmp(cases[i].name, arguments[1]) != 0) continue;
    @try {
      cases[i].run();
    } @catch (id exception) {
      expect(NO, [[exception description] UTF8String], cases[i].name, 0);
    }
    hasRun = YES;
  }
  expect(hasRun, "there is a case of that name", count == 2 ? arguments[1] : "(no name)", 0);
  [pool release];
  serviceEnd();
  return failures == 0 ? 0 : 1;
}

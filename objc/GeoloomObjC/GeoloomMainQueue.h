#pragma once

#import <Foundation/Foundation.h>

/// The queue that handles the service's answers and delivers statuses. It has its own thread unless an
/// application runs it in its run loop.
@interface GeoloomMainQueue : NSObject

/// Runs the main queue's tasks on the main thread, in NSRunLoop's common modes. Call it before the first
/// session is created. NO, after a line in the system log, if the main queue is already in use.
+ (BOOL)handOverToMainRunLoop;

@end

#pragma once

#import <Foundation/Foundation.h>

/// The queue on which the service's answers are handled and statuses arrive. It has a thread of its own,
/// unless an application takes it into its run loop.
@interface GeoloomMainQueue : NSObject

/// From now on what belongs on the main queue runs on the main thread, in NSRunLoop's common modes. Call it
/// before the first session is made; NO, after a line in the system log, when the main queue is in use
/// already.
+ (BOOL)handOverToMainRunLoop;

@end

#pragma once

#import <Foundation/Foundation.h>

/// Addresses of the services: HTTPS, or plain HTTP to this machine. Requests to an empty address fail as if
/// it did not answer; without an address, metrics are not sent. A session uses the endpoints that are current
/// while it is created.
@interface ServiceEndpoints : NSObject {
 @private
  NSString* production_;
  NSString* beta_;
  NSString* sceneUnderstanding_;
  NSString* tables_;
  NSString* metrics_;
}

/// Base address of the mapping service, without a trailing slash: @"https://<host>/prod/maps".
@property(nonatomic, copy) NSString* production;
/// The same for its beta: @"https://<host>/beta/maps".
@property(nonatomic, copy) NSString* beta;
/// The full address of the localization by objects: @"https://<host>/dev/scene-understanding/localize".
@property(nonatomic, copy) NSString* sceneUnderstanding;
/// Address of the table service: @"https://<host>".
@property(nonatomic, copy) NSString* tables;
/// Address of the metrics service: @"https://<host>".
@property(nonatomic, copy) NSString* metrics;

/// All services at one address, as with the local cloud, with or without a trailing slash:
/// @"http://127.0.0.1:8808".
+ (instancetype)endpointsWithService:(NSString*)address;

/// The current endpoints: those set last, else those the kit was built with. May be called from any thread.
+ (ServiceEndpoints*)current;
/// Call before the first session is created.
+ (void)setCurrent:(ServiceEndpoints*)endpoints;

@end

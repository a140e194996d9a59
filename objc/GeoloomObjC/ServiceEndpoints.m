#import <GeoloomObjC/Private.h>
#import <GeoloomObjC/ServiceEndpoints.h>

#include "objc/bridge/Values.h"

@implementation ServiceEndpoints

@synthesize production = production_;
@synthesize beta = beta_;
@synthesize sceneUnderstanding = sceneUnderstanding_;
@synthesize tables = tables_;
@synthesize metrics = metrics_;

+ (instancetype)endpointsWithService:(NSString*)address {
  while ([address hasSuffix:@"/"]) address = [address substringToIndex:[address length] - 1];
  ServiceEndpoints* endpoints = [[self new] autorelease];
  [endpoints setProduction:[address stringByAppendingString:@"/prod/maps"]];
  [endpoints setBeta:[address stringByAppendingString:@"/beta/maps"]];
  [endpoints setSceneUnderstanding:[address stringByAppendingString:@"/dev/scene-understanding/localize"]];
  [endpoints setTables:address];
  [endpoints setMetrics:address];
  return endpoints;
}

+ (ServiceEndpoints*)current {
  const GeoloomEndpoints current = geoloomCurrentEndpoints();
  ServiceEndpoints* endpoints = [[self new] autorelease];
  [endpoints setProduction:GeoloomStringOf(current.production)];
  [endpoints setBeta:GeoloomStringOf(current.beta)];
  [endpoints setSceneUnderstanding:GeoloomStringOf(current.sceneUnderstanding)];
  [endpoints setTables:GeoloomStringOf(current.tables)];
  [endpoints setMetrics:GeoloomStringOf(current.metrics)];
  return endpoints;
}

+ (void)setCurrent:(ServiceEndpoints*)endpoints {
  NSAutoreleasePool* pool = [NSAutoreleasePool new];
  const GeoloomEndpoints current = {.production = GeoloomTextOf([endpoints production]),
                                    .beta = GeoloomTextOf([endpoints beta]),
                                    .sceneUnderstanding = GeoloomTextOf([endpoints sceneUnderstanding]),
                                    .tables = GeoloomTextOf([endpoints tables]),
                                    .metrics = GeoloomTextOf([endpoints metrics])};
  geoloomSetCurrentEndpoints(current);
  [pool release];
}

- (void)dealloc {
  [production_ release];
  [beta_ release];
  [sceneUnderstanding_ release];
  [tables_ release];
  [metrics_ release];
  [super dealloc];
}

@end

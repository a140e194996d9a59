#import <GeoloomObjC/Private.h>
#import <GeoloomObjC/ServiceEndpoints.h>

#include "objc/bridge/Values.h"

@implementation ServiceEndpoints

@synthesize production = production_;
@synthesize beta = beta_;
@synthesize sceneUnderstanding = sceneUnderstanding_;
@synthesize tables = tables_;
@synthesize metrics = metrics_;

static ServiceEndpoints* endpointsOf(GeoloomEndpoints values) {
  ServiceEndpoints* endpoints = [[ServiceEndpoints new] autorelease];
  [endpoints setProduction:GeoloomStringOf(values.production)];
  [endpoints setBeta:GeoloomStringOf(values.beta)];
  [endpoints setSceneUnderstanding:GeoloomStringOf(values.sceneUnderstanding)];
  [endpoints setTables:GeoloomStringOf(values.tables)];
  [endpoints setMetrics:GeoloomStringOf(values.metrics)];
  return endpoints;
}

+ (instancetype)endpointsWithService:(NSString*)address {
  NSAutoreleasePool* pool = [NSAutoreleasePool new];
  ServiceEndpoints* endpoints = [endpointsOf(geoloomEndpointsWithService(GeoloomTextOf(address))) retain];
  [pool release];
  return [endpoints autorelease];
}

+ (ServiceEndpoints*)current {
  return endpointsOf(geoloomCurrentEndpoints());
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

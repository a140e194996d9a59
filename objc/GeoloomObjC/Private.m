#import <GeoloomObjC/Private.h>

GeoloomNative* GeoloomNativeOf(id object, Class expected) {
  return [object isKindOfClass:expected] ? [object geoloomNative] : NULL;
}

GeoloomText GeoloomTextOf(NSString* string) {
  GeoloomText text = {NULL, 0};
  if (string == nil) return text;
  NSData* bytes = [string dataUsingEncoding:NSUTF8StringEncoding allowLossyConversion:YES];
  text.length = [bytes length];
  text.bytes = text.length > 0 ? [bytes bytes] : "";
  return text;
}

NSString* GeoloomStringCopying(GeoloomText text) {
  if (text.bytes == NULL) return nil;
  return [[[NSString alloc] initWithBytes:text.bytes length:text.length
                                 encoding:NSUTF8StringEncoding] autorelease];
}

NSString* GeoloomStringOf(GeoloomText text) {
  NSString* string = GeoloomStringCopying(text);
  free((void*)text.bytes);
  return string;
}

NSArray* GeoloomArrayOf(GeoloomObjects objects, Class class) {
  NSMutableArray* array = [NSMutableArray arrayWithCapacity:objects.count];
  for (size_t i = 0; i < objects.count; ++i) {
    [array addObject:[[[class alloc] initWithGeoloomNative:objects.objects[i]] autorelease]];
  }
  free(objects.objects);
  return array;
}

void GeoloomLog(NSString* line) {
  geoloomLog(GeoloomTextOf(line));
}

id GeoloomRefuseInit(id self, NSString* instead) {
  NSString* name = NSStringFromClass([self class]);
  [self release];
  [NSException raise:NSInvalidArgumentException format:@"%@ has no init: %@", name, instead];
  return nil;
}

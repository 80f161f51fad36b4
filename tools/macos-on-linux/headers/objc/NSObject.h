// Stands for <objc/NSObject.h> of a Mac's SDK. The class itself is GNUstep's.
#pragma once

#include <objc/NSObjCRuntime.h>
#include <objc/objc.h>

@class NSString, NSMethodSignature, NSInvocation;

@protocol NSObject
- (BOOL)isEqual:(id)object;
@property(readonly) NSUInteger hash;
@property(readonly) Class superclass;
- (Class)class;
- (instancetype)self;
- (BOOL)isKindOfClass:(Class)aClass;
- (BOOL)isMemberOfClass:(Class)aClass;
- (BOOL)conformsToProtocol:(Protocol*)aProtocol;
- (BOOL)respondsToSelector:(SEL)aSelector;
@property(readonly, copy) NSString* description;
@end

__attribute__((objc_root_class))
@interface NSObject<NSObject> {
  Class isa;
}
+ (void)load;
+ (void)initialize;
- (instancetype)init;
+ (instancetype)new;
+ (instancetype)alloc;
- (void)dealloc;
- (id)copy;
- (id)mutableCopy;
+ (Class)class;
+ (Class)superclass;
@end

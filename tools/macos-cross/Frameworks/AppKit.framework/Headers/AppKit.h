// Type-checking stand-in for <AppKit/AppKit.h>.
//
// Written by hand from publicly documented facts; it is NOT Apple's header, declares only what this
// program calls (see README.md), and must never be on the include path of a build made on a Mac.
#pragma once

#import <Foundation/Foundation.h>

#define APPKIT_EXTERN FOUNDATION_EXPORT

NS_ASSUME_NONNULL_BEGIN

@class CALayer, NSApplication, NSButton, NSColor, NSEvent, NSFont, NSGraphicsContext, NSImage,
    NSLayoutConstraint, NSLayoutDimension, NSLayoutXAxisAnchor, NSLayoutYAxisAnchor, NSMenu, NSMenuItem,
    NSScreen, NSTitlebarAccessoryViewController, NSView, NSViewController, NSWindow;

typedef NSString *NSImageName;
typedef NSString *NSNibName;
typedef NSString *NSUserInterfaceItemIdentifier;
typedef CGFloat NSFontWeight;
typedef float NSLayoutPriority;
typedef NSInteger NSControlStateValue;

static const NSControlStateValue NSControlStateValueMixed = -1;
static const NSControlStateValue NSControlStateValueOff = 0;
static const NSControlStateValue NSControlStateValueOn = 1;

static const NSLayoutPriority NSLayoutPriorityRequired = 1000;
static const NSLayoutPriority NSLayoutPriorityDefaultHigh = 750;
static const NSLayoutPriority NSLayoutPriorityDragThatCanResizeWindow = 510;
static const NSLayoutPriority NSLayoutPriorityWindowSizeStayPut = 500;
static const NSLayoutPriority NSLayoutPriorityDragThatCannotResizeWindow = 490;
static const NSLayoutPriority NSLayoutPriorityDefaultLow = 250;
static const NSLayoutPriority NSLayoutPriorityFittingSizeCompression = 50;

// ---------------------------------------------------------------------------------------------
// Enumerations
// ---------------------------------------------------------------------------------------------
typedef NS_ENUM(NSInteger, NSApplicationActivationPolicy) {
  NSApplicationActivationPolicyRegular,
  NSApplicationActivationPolicyAccessory,
  NSApplicationActivationPolicyProhibited
};

typedef NS_ENUM(NSUInteger, NSApplicationTerminateReply) {
  NSTerminateCancel = 0,
  NSTerminateNow = 1,
  NSTerminateLater = 2
};

typedef NS_OPTIONS(NSUInteger, NSWindowStyleMask) {
  NSWindowStyleMaskBorderless = 0,
  NSWindowStyleMaskTitled = 1 << 0,
  NSWindowStyleMaskClosable = 1 << 1,
  NSWindowStyleMaskMiniaturizable = 1 << 2,
  NSWindowStyleMaskResizable = 1 << 3,
  NSWindowStyleMaskUtilityWindow = 1 << 4,
  NSWindowStyleMaskNonactivatingPanel = 1 << 7,
  NSWindowStyleMaskUnifiedTitleAndToolbar = 1 << 12,
  NSWindowStyleMaskHUDWindow = 1 << 13,
  NSWindowStyleMaskFullScreen = 1 << 14,
  NSWindowStyleMaskFullSizeContentView = 1 << 15,
};

typedef NS_OPTIONS(NSUInteger, NSWindowCollectionBehavior) {
  NSWindowCollectionBehaviorDefault = 0,
  NSWindowCollectionBehaviorFullScreenPrimary = 1 << 7,
  NSWindowCollectionBehaviorFullScreenAuxiliary = 1 << 8,
  NSWindowCollectionBehaviorFullScreenNone = 1 << 9,
};

typedef NS_ENUM(NSUInteger, NSBackingStoreType) {
  NSBackingStoreRetained = 0,
  NSBackingStoreNonretained = 1,
  NSBackingStoreBuffered = 2,
};

typedef NS_ENUM(NSInteger, NSWindowTabbingMode) {
  NSWindowTabbingModeAutomatic,
  NSWindowTabbingModePreferred,
  NSWindowTabbingModeDisallowed
};

typedef NS_ENUM(NSUInteger, NSEventType) {
  NSEventTypeLeftMouseDown = 1,
  NSEventTypeLeftMouseUp = 2,
  NSEventTypeRightMouseDown = 3,
  NSEventTypeRightMouseUp = 4,
  NSEventTypeMouseMoved = 5,
  NSEventTypeLeftMouseDragged = 6,
  NSEventTypeRightMouseDragged = 7,
  NSEventTypeMouseEntered = 8,
  NSEventTypeMouseExited = 9,
  NSEventTypeKeyDown = 10,
  NSEventTypeKeyUp = 11,
  NSEventTypeFlagsChanged = 12,
  NSEventTypeAppKitDefined = 13,
  NSEventTypeSystemDefined = 14,
  NSEventTypeApplicationDefined = 15,
  NSEventTypePeriodic = 16,
  NSEventTypeCursorUpdate = 17,
  NSEventTypeScrollWheel = 22,
};

typedef NS_OPTIONS(unsigned long long, NSEventMask) {
  NSEventMaskKeyDown = 1ULL << NSEventTypeKeyDown,
  NSEventMaskKeyUp = 1ULL << NSEventTypeKeyUp,
  NSEventMaskFlagsChanged = 1ULL << NSEventTypeFlagsChanged,
  NSEventMaskAny = NSUIntegerMax,
};

typedef NS_OPTIONS(NSUInteger, NSEventModifierFlags) {
  NSEventModifierFlagCapsLock = 1 << 16,
  NSEventModifierFlagShift = 1 << 17,
  NSEventModifierFlagControl = 1 << 18,
  NSEventModifierFlagOption = 1 << 19,
  NSEventModifierFlagCommand = 1 << 20,
  NSEventModifierFlagNumericPad = 1 << 21,
  NSEventModifierFlagHelp = 1 << 22,
  NSEventModifierFlagFunction = 1 << 23,
  NSEventModifierFlagDeviceIndependentFlagsMask = 0xffff0000UL
};

typedef NS_ENUM(NSInteger, NSLayoutRelation) {
  NSLayoutRelationLessThanOrEqual = -1,
  NSLayoutRelationEqual = 0,
  NSLayoutRelationGreaterThanOrEqual = 1,
};

typedef NS_ENUM(NSInteger, NSLayoutAttribute) {
  NSLayoutAttributeLeft = 1,
  NSLayoutAttributeRight,
  NSLayoutAttributeTop,
  NSLayoutAttributeBottom,
  NSLayoutAttributeLeading,
  NSLayoutAttributeTrailing,
  NSLayoutAttributeWidth,
  NSLayoutAttributeHeight,
  NSLayoutAttributeCenterX,
  NSLayoutAttributeCenterY,
  NSLayoutAttributeLastBaseline,
  NSLayoutAttributeBaseline = NSLayoutAttributeLastBaseline,
  NSLayoutAttributeFirstBaseline = 12,
  NSLayoutAttributeNotAnAttribute = 0
};

typedef NS_ENUM(NSInteger, NSLayoutConstraintOrientation) {
  NSLayoutConstraintOrientationHorizontal = 0,
  NSLayoutConstraintOrientationVertical = 1
};

typedef NS_ENUM(NSInteger, NSUserInterfaceLayoutOrientation) {
  NSUserInterfaceLayoutOrientationHorizontal = 0,
  NSUserInterfaceLayoutOrientationVertical = 1
};

typedef NS_ENUM(NSInteger, NSStackViewGravity) {
  NSStackViewGravityTop = 1,
  NSStackViewGravityLeading = 1,
  NSStackViewGravityCenter = 2,
  NSStackViewGravityBottom = 3,
  NSStackViewGravityTrailing = 3,
};

typedef NS_ENUM(NSInteger, NSStackViewDistribution) {
  NSStackViewDistributionGravityAreas = -1,
  NSStackViewDistributionFill = 0,
  NSStackViewDistributionFillEqually,
  NSStackViewDistributionFillProportionally,
  NSStackViewDistributionEqualSpacing,
  NSStackViewDistributionEqualCentering
};

typedef NS_OPTIONS(NSUInteger, NSAutoresizingMaskOptions) {
  NSViewNotSizable = 0,
  NSViewMinXMargin = 1,
  NSViewWidthSizable = 2,
  NSViewMaxXMargin = 4,
  NSViewMinYMargin = 8,
  NSViewHeightSizable = 16,
  NSViewMaxYMargin = 32
};

typedef NS_ENUM(NSInteger, NSWindowOrderingMode) { NSWindowAbove = 1, NSWindowBelow = -1, NSWindowOut = 0 };

typedef NS_ENUM(NSUInteger, NSControlSize) {
  NSControlSizeRegular = 0,
  NSControlSizeSmall = 1,
  NSControlSizeMini = 2,
  NSControlSizeLarge = 3,  // macOS 11.0
};

typedef NS_ENUM(NSUInteger, NSImageScaling) {
  NSImageScaleProportionallyDown = 0,
  NSImageScaleAxesIndependently,
  NSImageScaleNone,
  NSImageScaleProportionallyUpOrDown
};

// The names current since the macOS 14 SDK (NSBezelStylePush and friends) do not exist in older SDKs;
// the older spellings below have the same values and exist in every SDK.
typedef NS_ENUM(NSUInteger, NSBezelStyle) {
  NSBezelStyleRounded = 1,
  NSBezelStyleRegularSquare = 2,
  NSBezelStyleSmallSquare = 10,
  NSBezelStyleTexturedRounded = 11,
  NSBezelStyleRoundRect = 12,
  NSBezelStyleRecessed = 13,
  NSBezelStyleInline = 15,
};

// Centre and right swap between Intel and Apple-silicon macOS: always use the names.
typedef NS_ENUM(NSInteger, NSTextAlignment) {
  NSTextAlignmentLeft = 0,
#if defined(__x86_64__)
  NSTextAlignmentRight = 1,
  NSTextAlignmentCenter = 2,
#else
  NSTextAlignmentCenter = 1,
  NSTextAlignmentRight = 2,
#endif
  NSTextAlignmentJustified = 3,
  NSTextAlignmentNatural = 4
};

typedef NS_ENUM(NSUInteger, NSLineBreakMode) {
  NSLineBreakByWordWrapping = 0,
  NSLineBreakByCharWrapping,
  NSLineBreakByClipping,
  NSLineBreakByTruncatingHead,
  NSLineBreakByTruncatingTail,
  NSLineBreakByTruncatingMiddle
};

// ---------------------------------------------------------------------------------------------
// Small protocols
// ---------------------------------------------------------------------------------------------
@protocol NSUserInterfaceItemIdentification
@property(nullable, copy) NSUserInterfaceItemIdentifier identifier;
@end

@protocol NSMenuItemValidation <NSObject>
- (BOOL)validateMenuItem:(NSMenuItem *)menuItem;
@end

// ---------------------------------------------------------------------------------------------
// Colours, fonts, images, screens
// ---------------------------------------------------------------------------------------------
@interface NSColor : NSObject <NSCopying>
@property(class, strong, readonly) NSColor *blackColor;
@property(class, strong, readonly) NSColor *whiteColor;
@property(class, strong, readonly) NSColor *clearColor;
@property(class, strong, readonly) NSColor *labelColor API_AVAILABLE(macos(10.10));
@property(class, strong, readonly) NSColor *secondaryLabelColor API_AVAILABLE(macos(10.10));
@property(class, strong, readonly) NSColor *tertiaryLabelColor API_AVAILABLE(macos(10.10));
@property(class, strong, readonly) NSColor *separatorColor API_AVAILABLE(macos(10.14));
@property(class, strong, readonly) NSColor *windowBackgroundColor;
@property(class, strong, readonly) NSColor *controlBackgroundColor;
@property(class, strong, readonly) NSColor *controlAccentColor API_AVAILABLE(macos(10.14));
@property(class, strong, readonly) NSColor *systemRedColor API_AVAILABLE(macos(10.10));
@property(class, strong, readonly) NSColor *systemGreenColor API_AVAILABLE(macos(10.10));
@property(class, strong, readonly) NSColor *systemOrangeColor API_AVAILABLE(macos(10.10));
@property(class, strong, readonly) NSColor *systemBlueColor API_AVAILABLE(macos(10.10));
+ (NSColor *)colorWithSRGBRed:(CGFloat)red green:(CGFloat)green blue:(CGFloat)blue alpha:(CGFloat)alpha;
- (NSColor *)colorWithAlphaComponent:(CGFloat)alpha;
@end

APPKIT_EXTERN const NSFontWeight NSFontWeightLight;
APPKIT_EXTERN const NSFontWeight NSFontWeightRegular;
APPKIT_EXTERN const NSFontWeight NSFontWeightMedium;
APPKIT_EXTERN const NSFontWeight NSFontWeightSemibold;
APPKIT_EXTERN const NSFontWeight NSFontWeightBold;

@interface NSFont : NSObject <NSCopying>
@property(class, readonly) CGFloat systemFontSize;
@property(class, readonly) CGFloat smallSystemFontSize;
@property(class, readonly) CGFloat labelFontSize;
+ (NSFont *)systemFontOfSize:(CGFloat)fontSize;
+ (NSFont *)boldSystemFontOfSize:(CGFloat)fontSize;
+ (NSFont *)systemFontOfSize:(CGFloat)fontSize weight:(NSFontWeight)weight API_AVAILABLE(macos(10.11));
+ (NSFont *)monospacedDigitSystemFontOfSize:(CGFloat)fontSize
                                     weight:(NSFontWeight)weight API_AVAILABLE(macos(10.11));
+ (NSFont *)monospacedSystemFontOfSize:(CGFloat)fontSize
                                weight:(NSFontWeight)weight API_AVAILABLE(macos(10.15));
@end

@interface NSImage : NSObject <NSCopying>
+ (nullable NSImage *)imageNamed:(NSImageName)name;
+ (nullable instancetype)imageWithSystemSymbolName:(NSString *)name
                          accessibilityDescription:(nullable NSString *)description
    API_AVAILABLE(macos(11.0));
- (instancetype)initWithSize:(NSSize)size;
- (nullable instancetype)initWithContentsOfFile:(NSString *)fileName;
- (nullable instancetype)initWithContentsOfURL:(NSURL *)url;
@property NSSize size;
@end

@interface NSScreen : NSObject
@property(class, readonly, copy) NSArray<NSScreen *> *screens;
@property(class, nullable, readonly, strong) NSScreen *mainScreen;
@property(readonly) NSRect frame;
@property(readonly) NSRect visibleFrame;
@property(readonly) CGFloat backingScaleFactor API_AVAILABLE(macos(10.7));
@end

// ---------------------------------------------------------------------------------------------
// Events
// ---------------------------------------------------------------------------------------------
@interface NSEvent : NSObject <NSCopying>
@property(readonly) NSEventType type;
@property(readonly) NSEventModifierFlags modifierFlags;
@property(readonly) NSTimeInterval timestamp;
@property(nullable, readonly, weak) NSWindow *window;
@property(readonly) NSInteger windowNumber;
@property(readonly) NSPoint locationInWindow;
// Valid for key events only; other event types raise an exception.
@property(nullable, readonly, copy) NSString *characters;
@property(nullable, readonly, copy) NSString *charactersIgnoringModifiers;
@property(getter=isARepeat, readonly) BOOL ARepeat;
@property(readonly) unsigned short keyCode;
+ (nullable NSEvent *)keyEventWithType:(NSEventType)type
                              location:(NSPoint)location
                         modifierFlags:(NSEventModifierFlags)flags
                             timestamp:(NSTimeInterval)time
                          windowNumber:(NSInteger)wNum
                               context:(nullable NSGraphicsContext *)unusedPassNil
                            characters:(NSString *)keys
           charactersIgnoringModifiers:(NSString *)ukeys
                             isARepeat:(BOOL)flag
                               keyCode:(unsigned short)code;
@end

// ---------------------------------------------------------------------------------------------
// Auto Layout
// ---------------------------------------------------------------------------------------------
@interface NSLayoutConstraint : NSObject
+ (instancetype)constraintWithItem:(id)view1
                         attribute:(NSLayoutAttribute)attr1
                         relatedBy:(NSLayoutRelation)relation
                            toItem:(nullable id)view2
                         attribute:(NSLayoutAttribute)attr2
                        multiplier:(CGFloat)multiplier
                          constant:(CGFloat)c;
@property NSLayoutPriority priority;
@property CGFloat constant;
@property(getter=isActive) BOOL active API_AVAILABLE(macos(10.10));
@property(nullable, copy) NSString *identifier;
+ (void)activateConstraints:(NSArray<NSLayoutConstraint *> *)constraints API_AVAILABLE(macos(10.10));
+ (void)deactivateConstraints:(NSArray<NSLayoutConstraint *> *)constraints API_AVAILABLE(macos(10.10));
@end

API_AVAILABLE(macos(10.11))
@interface NSLayoutAnchor<AnchorType> : NSObject <NSCopying>
- (NSLayoutConstraint *)constraintEqualToAnchor:(NSLayoutAnchor<AnchorType> *)anchor;
- (NSLayoutConstraint *)constraintGreaterThanOrEqualToAnchor:(NSLayoutAnchor<AnchorType> *)anchor;
- (NSLayoutConstraint *)constraintLessThanOrEqualToAnchor:(NSLayoutAnchor<AnchorType> *)anchor;
- (NSLayoutConstraint *)constraintEqualToAnchor:(NSLayoutAnchor<AnchorType> *)anchor constant:(CGFloat)c;
- (NSLayoutConstraint *)constraintGreaterThanOrEqualToAnchor:(NSLayoutAnchor<AnchorType> *)anchor
                                                    constant:(CGFloat)c;
- (NSLayoutConstraint *)constraintLessThanOrEqualToAnchor:(NSLayoutAnchor<AnchorType> *)anchor
                                                 constant:(CGFloat)c;
@end

API_AVAILABLE(macos(10.11))
@interface NSLayoutXAxisAnchor : NSLayoutAnchor <NSLayoutXAxisAnchor *>
@end
API_AVAILABLE(macos(10.11))
@interface NSLayoutYAxisAnchor : NSLayoutAnchor <NSLayoutYAxisAnchor *>
@end
API_AVAILABLE(macos(10.11))
@interface NSLayoutDimension : NSLayoutAnchor <NSLayoutDimension *>
- (NSLayoutConstraint *)constraintEqualToConstant:(CGFloat)c;
- (NSLayoutConstraint *)constraintGreaterThanOrEqualToConstant:(CGFloat)c;
- (NSLayoutConstraint *)constraintLessThanOrEqualToConstant:(CGFloat)c;
- (NSLayoutConstraint *)constraintEqualToAnchor:(NSLayoutDimension *)anchor multiplier:(CGFloat)m;
@end

// ---------------------------------------------------------------------------------------------
// Responders and views
// ---------------------------------------------------------------------------------------------
@interface NSResponder : NSObject
- (instancetype)init NS_DESIGNATED_INITIALIZER;
@property(nullable, assign) NSResponder *nextResponder;
@property(readonly) BOOL acceptsFirstResponder;
- (BOOL)becomeFirstResponder;
- (BOOL)resignFirstResponder;
- (BOOL)performKeyEquivalent:(NSEvent *)event;
- (void)keyDown:(NSEvent *)event;
- (void)keyUp:(NSEvent *)event;
- (void)flagsChanged:(NSEvent *)event;
- (void)mouseDown:(NSEvent *)event;
- (void)mouseUp:(NSEvent *)event;
@end

@interface NSView : NSResponder <NSUserInterfaceItemIdentification>
- (instancetype)initWithFrame:(NSRect)frameRect NS_DESIGNATED_INITIALIZER;
@property(nullable, readonly, assign) NSWindow *window;
@property(nullable, readonly, assign) NSView *superview;
@property(copy) NSArray<__kindof NSView *> *subviews;
@property(getter=isHidden) BOOL hidden;
@property NSRect frame;
@property NSRect bounds;
@property BOOL needsDisplay;
@property BOOL needsLayout API_AVAILABLE(macos(10.7));
@property NSAutoresizingMaskOptions autoresizingMask;
@property BOOL wantsLayer;
@property(nullable, strong) CALayer *layer;
@property CGFloat alphaValue;
@property(nullable, copy) NSString *toolTip;
@property(nullable, assign) NSView *nextKeyView;
@property(readonly) BOOL canBecomeKeyView;
- (BOOL)isDescendantOf:(NSView *)view;
- (void)addSubview:(NSView *)view;
- (void)addSubview:(NSView *)view
        positioned:(NSWindowOrderingMode)place
        relativeTo:(nullable NSView *)otherView;
- (void)removeFromSuperview;
- (void)setFrameSize:(NSSize)newSize;
- (void)setFrameOrigin:(NSPoint)newOrigin;
- (nullable NSView *)hitTest:(NSPoint)point;
- (BOOL)acceptsFirstMouse:(nullable NSEvent *)event;
- (void)drawRect:(NSRect)dirtyRect;
- (void)viewDidMoveToWindow;
- (void)layoutSubtreeIfNeeded API_AVAILABLE(macos(10.7));
@end

@interface NSView (NSConstraintBasedLayoutInstallingConstraints)
@property(readonly, strong) NSLayoutXAxisAnchor *leadingAnchor API_AVAILABLE(macos(10.11));
@property(readonly, strong) NSLayoutXAxisAnchor *trailingAnchor API_AVAILABLE(macos(10.11));
@property(readonly, strong) NSLayoutXAxisAnchor *leftAnchor API_AVAILABLE(macos(10.11));
@property(readonly, strong) NSLayoutXAxisAnchor *rightAnchor API_AVAILABLE(macos(10.11));
@property(readonly, strong) NSLayoutYAxisAnchor *topAnchor API_AVAILABLE(macos(10.11));
@property(readonly, strong) NSLayoutYAxisAnchor *bottomAnchor API_AVAILABLE(macos(10.11));
@property(readonly, strong) NSLayoutDimension *widthAnchor API_AVAILABLE(macos(10.11));
@property(readonly, strong) NSLayoutDimension *heightAnchor API_AVAILABLE(macos(10.11));
@property(readonly, strong) NSLayoutXAxisAnchor *centerXAnchor API_AVAILABLE(macos(10.11));
@property(readonly, strong) NSLayoutYAxisAnchor *centerYAnchor API_AVAILABLE(macos(10.11));
@property(readonly, copy) NSArray<NSLayoutConstraint *> *constraints API_AVAILABLE(macos(10.7));
- (void)addConstraint:(NSLayoutConstraint *)constraint API_AVAILABLE(macos(10.7));
- (void)addConstraints:(NSArray<NSLayoutConstraint *> *)constraints API_AVAILABLE(macos(10.7));
- (void)removeConstraint:(NSLayoutConstraint *)constraint API_AVAILABLE(macos(10.7));
@property BOOL translatesAutoresizingMaskIntoConstraints API_AVAILABLE(macos(10.7));
@property(readonly) NSSize intrinsicContentSize API_AVAILABLE(macos(10.7));
@property(readonly) NSSize fittingSize API_AVAILABLE(macos(10.7));
- (NSLayoutPriority)contentHuggingPriorityForOrientation:(NSLayoutConstraintOrientation)orientation
    API_AVAILABLE(macos(10.7));
- (void)setContentHuggingPriority:(NSLayoutPriority)priority
                   forOrientation:(NSLayoutConstraintOrientation)orientation API_AVAILABLE(macos(10.7));
- (NSLayoutPriority)contentCompressionResistancePriorityForOrientation:
    (NSLayoutConstraintOrientation)orientation API_AVAILABLE(macos(10.7));
- (void)setContentCompressionResistancePriority:(NSLayoutPriority)priority
                                 forOrientation:(NSLayoutConstraintOrientation)orientation
    API_AVAILABLE(macos(10.7));
@end

API_AVAILABLE(macos(10.9))
@interface NSStackView : NSView
+ (instancetype)stackViewWithViews:(NSArray<NSView *> *)views;
@property NSUserInterfaceLayoutOrientation orientation;
@property NSLayoutAttribute alignment;
@property NSEdgeInsets edgeInsets;
@property NSStackViewDistribution distribution API_AVAILABLE(macos(10.11));
@property CGFloat spacing;
@property BOOL detachesHiddenViews API_AVAILABLE(macos(10.11));
@property(readonly, copy) NSArray<__kindof NSView *> *arrangedSubviews API_AVAILABLE(macos(10.11));
- (void)setCustomSpacing:(CGFloat)spacing afterView:(NSView *)view;
- (void)addArrangedSubview:(NSView *)view API_AVAILABLE(macos(10.11));
- (void)removeArrangedSubview:(NSView *)view API_AVAILABLE(macos(10.11));
- (void)addView:(NSView *)view inGravity:(NSStackViewGravity)gravity;
- (void)setViews:(NSArray<NSView *> *)views inGravity:(NSStackViewGravity)gravity;
- (void)setHuggingPriority:(NSLayoutPriority)priority
            forOrientation:(NSLayoutConstraintOrientation)orientation;
@end

@interface NSControl : NSView
@property(nullable, weak) id target;
@property(nullable) SEL action;
@property(getter=isEnabled) BOOL enabled;
- (void)performClick:(nullable id)sender;
@property BOOL refusesFirstResponder;
@property NSControlSize controlSize API_AVAILABLE(macos(10.10));
@property(copy) NSString *stringValue;
@property(nullable, copy) NSFont *font;
@property NSTextAlignment alignment;
@property NSLineBreakMode lineBreakMode API_AVAILABLE(macos(10.10));
@property BOOL usesSingleLineMode API_AVAILABLE(macos(10.10));
- (void)sizeToFit;
@end

@interface NSButton : NSControl
+ (instancetype)buttonWithTitle:(NSString *)title
                         target:(nullable id)target
                         action:(nullable SEL)action API_AVAILABLE(macos(10.12));
+ (instancetype)buttonWithImage:(NSImage *)image
                         target:(nullable id)target
                         action:(nullable SEL)action API_AVAILABLE(macos(10.12));
@property(copy) NSString *title;
@property NSBezelStyle bezelStyle;
@property(getter=isBordered) BOOL bordered;
@property(nullable, copy) NSColor *bezelColor API_AVAILABLE(macos(10.12.2));
@property(nullable, strong) NSImage *image;
@property NSControlStateValue state;
@property(copy) NSString *keyEquivalent;
@end

@interface NSTextField : NSControl
+ (instancetype)labelWithString:(NSString *)stringValue API_AVAILABLE(macos(10.12));
+ (instancetype)wrappingLabelWithString:(NSString *)stringValue API_AVAILABLE(macos(10.12));
@property(nullable, copy) NSColor *textColor;
@property(nullable, copy) NSColor *backgroundColor;
@property BOOL drawsBackground;
@property(getter=isBordered) BOOL bordered;
@property(getter=isBezeled) BOOL bezeled;
@property(getter=isEditable) BOOL editable;
@property(getter=isSelectable) BOOL selectable;
@property CGFloat preferredMaxLayoutWidth API_AVAILABLE(macos(10.8));
@property NSInteger maximumNumberOfLines API_AVAILABLE(macos(10.11));
@end

@interface NSImageView : NSControl
+ (instancetype)imageViewWithImage:(NSImage *)image API_AVAILABLE(macos(10.12));
@property(nullable, strong) NSImage *image;
@property NSImageScaling imageScaling;
@property(nullable, copy) NSColor *contentTintColor API_AVAILABLE(macos(10.14));
@end

// ---------------------------------------------------------------------------------------------
// View controllers
// ---------------------------------------------------------------------------------------------
@interface NSViewController : NSResponder <NSUserInterfaceItemIdentification>
- (instancetype)initWithNibName:(nullable NSNibName)nibNameOrNil
                         bundle:(nullable NSBundle *)nibBundleOrNil NS_DESIGNATED_INITIALIZER;
@property(strong) NSView *view;
- (void)loadView;
- (void)viewDidLoad API_AVAILABLE(macos(10.10));
@end

API_AVAILABLE(macos(10.10))
@interface NSTitlebarAccessoryViewController : NSViewController
@property NSLayoutAttribute layoutAttribute;
@property CGFloat fullScreenMinHeight;
@property(getter=isHidden) BOOL hidden API_AVAILABLE(macos(10.12));
@property BOOL automaticallyAdjustsSize API_AVAILABLE(macos(11.0));
@end

// ---------------------------------------------------------------------------------------------
// Menus
// ---------------------------------------------------------------------------------------------
@interface NSMenu : NSObject <NSCopying, NSUserInterfaceItemIdentification>
- (instancetype)initWithTitle:(NSString *)title NS_DESIGNATED_INITIALIZER;
@property(copy) NSString *title;
@property(copy) NSArray<NSMenuItem *> *itemArray;
@property(readonly) NSInteger numberOfItems;
@property BOOL autoenablesItems;
- (void)insertItem:(NSMenuItem *)newItem atIndex:(NSInteger)index;
- (void)addItem:(NSMenuItem *)newItem;
- (NSMenuItem *)addItemWithTitle:(NSString *)string
                          action:(nullable SEL)selector
                   keyEquivalent:(NSString *)charCode;
- (void)setSubmenu:(nullable NSMenu *)menu forItem:(NSMenuItem *)item;
- (void)removeAllItems;
@end

@interface NSMenuItem : NSObject <NSCopying, NSUserInterfaceItemIdentification>
+ (NSMenuItem *)separatorItem;
- (instancetype)initWithTitle:(NSString *)string
                       action:(nullable SEL)selector
                keyEquivalent:(NSString *)charCode NS_DESIGNATED_INITIALIZER;
@property(readonly) BOOL hasSubmenu;
@property(nullable, strong) NSMenu *submenu;
@property(copy) NSString *title;
@property(copy) NSString *keyEquivalent;
@property NSEventModifierFlags keyEquivalentModifierMask;
@property NSControlStateValue state;
@property(getter=isEnabled) BOOL enabled;
@property(getter=isHidden) BOOL hidden;
@property(nullable, weak) id target;
@property(nullable) SEL action;
@property NSInteger tag;
@property(nullable, strong) id representedObject;
@end

// ---------------------------------------------------------------------------------------------
// Windows
// ---------------------------------------------------------------------------------------------
@protocol NSWindowDelegate <NSObject>
@optional
- (BOOL)windowShouldClose:(NSWindow *)sender;
- (NSSize)windowWillResize:(NSWindow *)sender toSize:(NSSize)frameSize;
- (void)windowDidResize:(NSNotification *)notification;
- (void)windowDidBecomeKey:(NSNotification *)notification;
- (void)windowDidResignKey:(NSNotification *)notification;
- (void)windowWillClose:(NSNotification *)notification;
- (void)windowDidEnterFullScreen:(NSNotification *)notification API_AVAILABLE(macos(10.7));
- (void)windowDidExitFullScreen:(NSNotification *)notification API_AVAILABLE(macos(10.7));
@end

@interface NSWindow : NSResponder <NSUserInterfaceItemIdentification>
- (instancetype)initWithContentRect:(NSRect)contentRect
                          styleMask:(NSWindowStyleMask)style
                            backing:(NSBackingStoreType)backingStoreType
                              defer:(BOOL)flag NS_DESIGNATED_INITIALIZER;
- (instancetype)initWithContentRect:(NSRect)contentRect
                          styleMask:(NSWindowStyleMask)style
                            backing:(NSBackingStoreType)backingStoreType
                              defer:(BOOL)flag
                             screen:(nullable NSScreen *)screen;
+ (NSRect)frameRectForContentRect:(NSRect)cRect styleMask:(NSWindowStyleMask)style;
+ (NSRect)contentRectForFrameRect:(NSRect)fRect styleMask:(NSWindowStyleMask)style;
- (NSRect)frameRectForContentRect:(NSRect)contentRect;
- (NSRect)contentRectForFrameRect:(NSRect)frameRect;
@property(copy) NSString *title;
@property(copy) NSString *subtitle API_AVAILABLE(macos(11.0));
@property BOOL titlebarAppearsTransparent API_AVAILABLE(macos(10.10));
@property(readonly, copy)
    NSArray<__kindof NSTitlebarAccessoryViewController *> *titlebarAccessoryViewControllers
        API_AVAILABLE(macos(10.10));
- (void)addTitlebarAccessoryViewController:(NSTitlebarAccessoryViewController *)childViewController
    API_AVAILABLE(macos(10.10));
@property(nullable, strong) __kindof NSView *contentView;
@property(nullable, strong) NSViewController *contentViewController API_AVAILABLE(macos(10.10));
@property(nullable, weak) id<NSWindowDelegate> delegate;
@property(readonly) NSInteger windowNumber;
@property NSWindowStyleMask styleMask;
@property NSWindowCollectionBehavior collectionBehavior;
@property NSWindowTabbingMode tabbingMode API_AVAILABLE(macos(10.12));
@property(readonly) NSRect frame;
@property NSSize minSize;
@property NSSize contentMinSize;
@property NSSize aspectRatio;
@property NSSize contentAspectRatio;
- (void)setFrame:(NSRect)frameRect display:(BOOL)flag;
- (void)setFrame:(NSRect)frameRect display:(BOOL)displayFlag animate:(BOOL)animateFlag;
- (void)setFrameOrigin:(NSPoint)point;
- (void)setContentSize:(NSSize)size;
- (void)center;
- (void)layoutIfNeeded API_AVAILABLE(macos(10.7));
- (void)makeKeyAndOrderFront:(nullable id)sender;
- (void)orderFront:(nullable id)sender;
- (void)orderFrontRegardless;
- (void)orderOut:(nullable id)sender;
- (void)makeKeyWindow;
- (void)close;
- (void)performClose:(nullable id)sender;
- (void)deminiaturize:(nullable id)sender;
- (void)toggleFullScreen:(nullable id)sender API_AVAILABLE(macos(10.7));
@property(readonly, getter=isVisible) BOOL visible;
@property(readonly, getter=isKeyWindow) BOOL keyWindow;
@property(readonly, getter=isMiniaturized) BOOL miniaturized;
@property(readonly) BOOL canBecomeKeyWindow;
@property(readonly) BOOL canBecomeMainWindow;
@property(getter=isReleasedWhenClosed) BOOL releasedWhenClosed;
@property(nullable, readonly, strong) NSScreen *screen;
@property(readonly) CGFloat backingScaleFactor API_AVAILABLE(macos(10.7));
@property(nullable, readonly, weak) NSResponder *firstResponder;
@property(nullable, weak) NSView *initialFirstResponder;
- (BOOL)makeFirstResponder:(nullable NSResponder *)responder;
- (void)sendEvent:(NSEvent *)event;
@property(getter=isRestorable) BOOL restorable API_AVAILABLE(macos(10.7));
@end

// ---------------------------------------------------------------------------------------------
// Application
// ---------------------------------------------------------------------------------------------
@protocol NSApplicationDelegate <NSObject>
@optional
- (NSApplicationTerminateReply)applicationShouldTerminate:(NSApplication *)sender;
- (BOOL)applicationShouldTerminateAfterLastWindowClosed:(NSApplication *)sender;
- (BOOL)applicationShouldHandleReopen:(NSApplication *)sender hasVisibleWindows:(BOOL)hasVisibleWindows;
- (BOOL)applicationSupportsSecureRestorableState:(NSApplication *)app API_AVAILABLE(macos(12.0));
- (void)applicationWillFinishLaunching:(NSNotification *)notification;
- (void)applicationDidFinishLaunching:(NSNotification *)notification;
- (void)applicationWillTerminate:(NSNotification *)notification;
@end

APPKIT_EXTERN __kindof NSApplication *_Null_unspecified NSApp;

@interface NSApplication : NSResponder
@property(class, readonly, strong) __kindof NSApplication *sharedApplication;
@property(nullable, weak) id<NSApplicationDelegate> delegate;
@property(nullable, readonly, weak) NSWindow *mainWindow;
@property(nullable, readonly, weak) NSWindow *keyWindow;
@property(getter=isActive, readonly) BOOL active;
@property(getter=isHidden, readonly) BOOL hidden;
@property(getter=isRunning, readonly) BOOL running;
@property(readonly, copy) NSArray<NSWindow *> *windows;
@property(nullable, strong) NSMenu *mainMenu;
@property(null_resettable, strong) NSImage *applicationIconImage;
@property(nullable, readonly, strong) NSEvent *currentEvent;
- (void)hide:(nullable id)sender;
- (void)unhide:(nullable id)sender;
- (void)hideOtherApplications:(nullable id)sender;
- (void)unhideAllApplications:(nullable id)sender;
- (void)activateIgnoringOtherApps:(BOOL)ignoreOtherApps
    API_DEPRECATED("-activate", macos(10.0, 14.0));
- (void)activate API_AVAILABLE(macos(14.0));
- (void)finishLaunching;
- (void)run;
- (void)stop:(nullable id)sender;
- (void)terminate:(nullable id)sender;
- (NSApplicationActivationPolicy)activationPolicy API_AVAILABLE(macos(10.6));
- (BOOL)setActivationPolicy:(NSApplicationActivationPolicy)activationPolicy API_AVAILABLE(macos(10.6));
- (void)sendEvent:(NSEvent *)event;
- (void)postEvent:(NSEvent *)event atStart:(BOOL)flag;
- (nullable NSEvent *)nextEventMatchingMask:(NSEventMask)mask
                                  untilDate:(nullable NSDate *)expiration
                                     inMode:(NSRunLoopMode)mode
                                    dequeue:(BOOL)deqFlag;
- (void)orderFrontStandardAboutPanel:(nullable id)sender;
@end

NS_ASSUME_NONNULL_END

#import "platform/macos/streams.h"

#import <Foundation/Foundation.h>
#include <dispatch/dispatch.h>

#import "platform/macos/bridge.h"

namespace parlen::macos {
namespace {

// -writeData: raises when a write fails; the form with an error returns, and the failure is
// dropped.
void write(NSFileHandle* handle, std::string_view bytes) {
  [handle writeData:toData(bytes) error:nil];
}

// -availableData raises when the read fails. Nothing more can be heard then: the input has ended.
NSData* chunkFrom(NSFileHandle* handle) {
  @try {
    return handle.availableData;
  } @catch (NSException*) {
    return NSData.data;
  }
}

}  // namespace

void Streams::writeOutput(std::string_view bytes) {
  write(NSFileHandle.fileHandleWithStandardOutput, bytes);
}

void Streams::writeError(std::string_view bytes) {
  write(NSFileHandle.fileHandleWithStandardError, bytes);
}

void Streams::readInput(InputHandler handler) {
  // Runs on a queue of the file handle's own, so it reads on while the main thread is in a write.
  NSFileHandle.fileHandleWithStandardInput.readabilityHandler = ^(NSFileHandle* input) {
    NSData* chunk = chunkFrom(input);
    // The end is readable for ever: with the handler left in place it would be told without pause.
    if (chunk.length == 0) input.readabilityHandler = nil;
    dispatch_async(dispatch_get_main_queue(), ^{
      callBack(handler, std::string_view(static_cast<const char*>(chunk.bytes), chunk.length));
    });
  };
}

}  // namespace parlen::macos

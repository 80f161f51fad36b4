/* bare_waits <milliseconds>...
 *
 * Waits for these times one after the other, each from the end of the one before it, and prints how
 * late each wait ended in milliseconds. This is what the system makes of the delays of a program
 * that does nothing else; it waits as the event loop does, in ppoll(). */
#include <poll.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

enum { max_waits = 10000 };

static const long nanoseconds_of_millisecond = 1000000;
static const long nanoseconds_of_second = 1000000000;

static long long now(void) {
  struct timespec time;
  clock_gettime(CLOCK_MONOTONIC, &time);
  return (long long)time.tv_sec * nanoseconds_of_second + time.tv_nsec;
}

/* Returns by how many nanoseconds it returns too late. */
static long long wait_until(long long due) {
  for (;;) {
    const long long left = due - now();
    if (left <= 0) return -left;
    const struct timespec timeout = {.tv_sec = (time_t)(left / nanoseconds_of_second),
                                     .tv_nsec = (long)(left % nanoseconds_of_second)};
    ppoll(NULL, 0, &timeout, NULL);
  }
}

int main(int count, char** words) {
  static long long late[max_waits];
  if (count < 2 || count - 1 > max_waits) {
    fputs("usage: bare_waits <milliseconds>...\n", stderr);
    return 2;
  }
  for (int wait = 1; wait < count; ++wait) {
    const long milliseconds = strtol(words[wait], NULL, 10);
    late[wait - 1] = wait_until(now() + milliseconds * nanoseconds_of_millisecond);
  }
  for (int wait = 1; wait < count; ++wait) printf("%.3f\n", (double)late[wait - 1] / 1e6);
  return 0;
}

/* spawn_times exit|output <count> <program> [arguments...] -- <program> [arguments...]
 *
 * Starts the two programs alternately, <count> times each, so that both see the same noise, and
 * prints the median time of each in microseconds: from the start to the exit, or to the first byte
 * of standard output. Their standard input is /dev/null. */
#include <fcntl.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

extern char** environ;

enum { standard_input = 0, standard_output = 1, standard_error = 2 };

static void fail(const char* what) {
  perror(what);
  exit(1);
}

static double now(void) {
  struct timespec time;
  clock_gettime(CLOCK_MONOTONIC, &time);
  return (double)time.tv_sec * 1e6 + (double)time.tv_nsec / 1e3;
}

static int compare(const void* left, const void* right) {
  const double a = *(const double*)left;
  const double b = *(const double*)right;
  return (a > b) - (a < b);
}

static pid_t spawn(char** command, int output) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, standard_input, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, output, standard_output);
  posix_spawn_file_actions_addopen(&actions, standard_error, "/dev/null", O_WRONLY, 0);
  pid_t child;
  if (posix_spawn(&child, command[0], &actions, NULL, command, environ) != 0) fail(command[0]);
  posix_spawn_file_actions_destroy(&actions);
  return child;
}

static void wait_for(pid_t child) {
  int status;
  if (waitpid(child, &status, 0) != child) fail("waitpid");
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    fputs("spawn_times: a measured program failed\n", stderr);
    exit(1);
  }
}

static double time_to_exit(char** command) {
  const int output = open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (output < 0) fail("/dev/null");
  const double begin = now();
  wait_for(spawn(command, output));
  const double end = now();
  close(output);
  return end - begin;
}

static double time_to_output(char** command) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) fail("pipe");
  const double begin = now();
  const pid_t child = spawn(command, ends[1]);
  close(ends[1]);
  char bytes[4096];
  ssize_t count = read(ends[0], bytes, sizeof bytes);
  const double end = now();
  while (count > 0) count = read(ends[0], bytes, sizeof bytes);
  wait_for(child);
  close(ends[0]);
  return end - begin;
}

static double median(double* times, size_t count) {
  qsort(times, count, sizeof times[0], compare);
  return times[count / 2];
}

enum { max_runs = 10000 };

int main(int count, char** words) {
  int split = 3;
  while (split < count && strcmp(words[split], "--") != 0) ++split;
  const size_t runs = count > 3 ? strtoul(words[2], NULL, 10) : 0;
  if (split == 3 || split + 1 >= count || runs == 0 || runs > max_runs) {
    fputs("usage: spawn_times exit|output <count> <program...> -- <program...>\n", stderr);
    return 2;
  }
  double (*measure)(char**) = strcmp(words[1], "exit") == 0 ? time_to_exit : time_to_output;
  words[split] = NULL;
  static double ours[max_runs];
  static double reference[max_runs];
  for (size_t run = 0; run < runs; ++run) {
    ours[run] = measure(words + 3);
    reference[run] = measure(words + split + 1);
  }
  printf("%.1f\n%.1f\n", median(ours, runs), median(reference, runs));
  return 0;
}

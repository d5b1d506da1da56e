/* Runs several programs in turn, again and again, and writes what each run cost.
 * Taking turns, in another order each time, lets whatever else the machine does fall
 * on all of them alike.
 *
 *   alternate RESULTS ROUNDS -- INPUT PROGRAM [WORD...] [-- ...]
 *
 * What the programs print goes nowhere. For each run one line of RESULTS: the
 * contestant's number, its wait status, wall time (ns), processor time (us), peak
 * memory (KiB), page faults without disk access.
 *
 * Linked statically and free of heap: a process starts with the peak memory of its
 * parent, which must stay below that of the smallest contestant. */

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

enum { MOST_CONTESTANTS = 16 };

struct Contestant {
  const char* input;
  char** words;
};

static long long Nanoseconds(void) {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * 1000000000LL + now.tv_nsec;
}

static long Microseconds(struct timeval time) { return time.tv_sec * 1000000L + time.tv_usec; }

/* No program may always run after the same other one: what it leaves in caches or in
 * the daemon is paid by the next. Every call gives the same orders. */
static void Shuffle(int* order, int count) {
  for (int last = count - 1; last > 0; --last) {
    const int other = rand() % (last + 1);
    const int number = order[last];
    order[last] = order[other];
    order[other] = number;
  }
}

static int Open(const char* path, int flags) {
  const int descriptor = open(path, flags | O_CLOEXEC, 0600);
  if (descriptor < 0) {
    perror(path);
    exit(2);
  }
  return descriptor;
}

static void Measure(int results, int number, const struct Contestant* contestant) {
  static int silence = -1;
  if (silence < 0) {
    silence = Open("/dev/null", O_WRONLY);
  }
  const int input = Open(contestant->input, O_RDONLY);
  const long long begin = Nanoseconds();
  const pid_t process = vfork();
  if (process == 0) {
    dup2(input, STDIN_FILENO);
    dup2(silence, STDOUT_FILENO);
    dup2(silence, STDERR_FILENO);
    execv(contestant->words[0], contestant->words);
    _exit(127);
  }
  int status = -1;
  struct rusage usage;
  wait4(process, &status, 0, &usage);
  const long long end = Nanoseconds();
  close(input);
  dprintf(results, "%d %d %lld %ld %ld %ld\n", number, status, end - begin,
          Microseconds(usage.ru_utime) + Microseconds(usage.ru_stime), usage.ru_maxrss,
          usage.ru_minflt);
}

int main(int argc, char** argv) {
  static struct Contestant contestants[MOST_CONTESTANTS];
  int count = 0;
  for (int index = 3; index + 2 < argc && count < MOST_CONTESTANTS; ++count) {
    contestants[count] = (struct Contestant){argv[index + 1], argv + index + 2};
    index += 2;
    while (index < argc && strcmp(argv[index], "--") != 0) {
      ++index;
    }
    if (index < argc) {
      argv[index] = NULL;
    }
  }
  if (count == 0) {
    return 2;
  }
  const int results = Open(argv[1], O_WRONLY | O_CREAT | O_TRUNC);
  int order[MOST_CONTESTANTS];
  for (int number = 0; number < count; ++number) {
    order[number] = number;
  }
  const int rounds = atoi(argv[2]);
  for (int round = 0; round < rounds; ++round) {
    Shuffle(order, count);
    for (int turn = 0; turn < count; ++turn) {
      Measure(results, order[turn], &contestants[order[turn]]);
    }
  }
  return 0;
}

/* The floor: what one exchange costs a program that does nothing else. It makes
 * the client's system calls in the client's order and looks at nothing: no
 * options, no checks, no messages.
 *
 *   floor SOCKET CODE [LENGTH [LIST]]    code 1 copies a stream, any other takes a
 *                                        frame; LENGTH bytes of payload follow the
 *                                        header: zeros, and LIST as in code 33
 *
 * PIECE_SIZE: most bytes of a stream that are read at a time. */

#include <arpa/inet.h>
#include <signal.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#ifndef PIECE_SIZE
#define PIECE_SIZE 1023
#endif

enum { CODE_STREAM = 1, LIST_OFFSET = 24, LIST_CAPACITY = 94720 };
enum { OUTPUT_SIZE = PIECE_SIZE > 4096 ? PIECE_SIZE : 4096 };

static int CopyStream(int from) {
  static char output[OUTPUT_SIZE];
  size_t held = 0;
  ssize_t count;
  while ((count = read(from, output + held, PIECE_SIZE)) > 0) {
    held += (size_t)count;
    if (held > sizeof output - PIECE_SIZE) {
      if (write(STDOUT_FILENO, output, held) < 0) {
        return 1;
      }
      held = 0;
    }
  }
  return count < 0 || write(STDOUT_FILENO, output, held) < 0;
}

static int CopyFrame(int from) {
  uint32_t header[2];
  if (recv(from, header, sizeof header, MSG_WAITALL) != sizeof header || header[0] != 0) {
    return 1;
  }
  const size_t length = ntohl(header[1]);
  if (length != 0) {
    char* payload = malloc(length);
    if (payload == NULL || recv(from, payload, length, MSG_WAITALL) != (ssize_t)length ||
        write(STDOUT_FILENO, payload, length) < 0) {
      return 1;
    }
  }
  return write(STDOUT_FILENO, "\n", 1) < 0;
}

int main(int argc, char** argv) {
  if (argc < 3) {
    return 2;
  }
  static char payload[189464];
  const uint32_t code = (uint32_t)atoi(argv[2]);
  const uint32_t length = argc > 3 ? (uint32_t)atoi(argv[3]) : 0;
  if (argc > 4) {
    strncpy(payload + LIST_OFFSET, argv[4], LIST_CAPACITY);
  }
  const uint32_t header[2] = {htonl(code), htonl(length)};
  const struct timeval timeout = {.tv_sec = 20};
  struct sockaddr_un address = {.sun_family = AF_UNIX};
  strncpy(address.sun_path, argv[1], sizeof address.sun_path - 1);

  signal(SIGPIPE, SIG_IGN);
  const int descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
  if (setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout) != 0 ||
      connect(descriptor, (const struct sockaddr*)&address, sizeof address) != 0 ||
      send(descriptor, header, sizeof header, 0) < 0 || length > sizeof payload ||
      (length != 0 && send(descriptor, payload, length, 0) < 0)) {
    return 1;
  }
  return code == CODE_STREAM ? CopyStream(descriptor) : CopyFrame(descriptor);
}

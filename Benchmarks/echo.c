/* The limit that the stdio rows are held against: answers every line with the bytes of a file,
   with nothing between read and write. Usage: echo FILE */
#include <fcntl.h>
#include <string.h>
#include <unistd.h>

static char answer[1 << 20];
static char input[1 << 16];

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const int file = open(argv[1], O_RDONLY);
  const ssize_t size = read(file, answer, sizeof answer);
  if (size <= 0) return 2;
  for (;;) {
    const ssize_t count = read(0, input, sizeof input);
    if (count <= 0) return 0;
    if (input[count - 1] != '\n') continue;
    for (ssize_t sent = 0; sent < size;) {
      const ssize_t now = write(1, answer + sent, (size_t)(size - sent));
      if (now <= 0) return 1;
      sent += now;
    }
  }
}

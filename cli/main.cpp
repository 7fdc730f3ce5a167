#include <cstdio>
#include <cstring>

int main(int argc, char** argv) {
  if (argc > 1 && std::strcmp(argv[1], "--version") == 0) {
    std::printf("mirvo %s\n", MIRVO_VERSION);
    return 0;
  }
  std::printf("usage: mirvo <command> [options]\n");
  return argc > 1 && std::strcmp(argv[1], "--help") == 0 ? 0 : 2;
}

#include "mesh_file.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstring>
#include <exception>
#include <fstream>
#include <new>

#include "mesh_import.h"
#include "output_file.h"

namespace {

// What comes through the pipe: this, then the text, or the five lists of the mesh.
enum class Outcome : uint32_t { mesh = 0x4d455348, refused, noMemory };
struct Head {
  Outcome outcome;
  std::array<uint64_t, 5> counts;  // of the lists' elements; or counts[0] characters
};

using Clock = std::chrono::steady_clock;

// ---- in the process that reads ----

void send(int pipe, const void *data, size_t bytes) {
  for (auto at = static_cast<const char *>(data); bytes > 0;) {
    const ssize_t now = write(pipe, at, bytes);
    if (now < 0 && errno == EINTR) continue;
    if (now <= 0) _exit(1);
    at += now;
    bytes -= static_cast<size_t>(now);
  }
}

template <class T>
void send(int pipe, const std::vector<T> &list) {
  send(pipe, list.data(), list.size() * sizeof(T));
}

void sendText(int pipe, Outcome outcome, const std::string &text) {
  const Head head = {outcome, {text.size()}};
  send(pipe, &head, sizeof head);
  send(pipe, text.data(), text.size());
}

// Bounds what this process may take beyond what it has: a limit of the whole would count what a sanitizer reserves.
void limitMemory(int memoryMB) {
  uint64_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  const auto most = static_cast<rlim_t>(pages * static_cast<uint64_t>(sysconf(_SC_PAGESIZE)) +
                                        (static_cast<uint64_t>(memoryMB) << 20));
  rlimit limit;
  if (getrlimit(RLIMIT_AS, &limit) != 0) return;
  limit.rlim_cur = std::min(most, limit.rlim_max);  // RLIM_INFINITY is the largest number
  setrlimit(RLIMIT_AS, &limit);
}

[[noreturn]] void importAndSend(int pipe, pid_t parent, const std::string &path, Axis up,
                                const ImportLimits &limits) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(1);
  const rlimit noCore = {0, 0};
  setrlimit(RLIMIT_CORE, &noCore);
  limitMemory(limits.memoryMB);
  // What an importer and its assertions print is not for the user.
  const int nowhere = open("/dev/null", O_WRONLY);
  dup2(nowhere, STDOUT_FILENO);
  dup2(nowhere, STDERR_FILENO);
  try {
    Mesh mesh;
    if (const std::string error = importMesh(path, up, mesh); !error.empty()) {
      sendText(pipe, Outcome::refused, error);
      _exit(0);
    }
    const Head head = {Outcome::mesh,
                       {mesh.vertices.size(), mesh.normals.size(), mesh.indices.size(), mesh.material.size(),
                        mesh.colours.size()}};
    send(pipe, &head, sizeof head);
    send(pipe, mesh.vertices);
    send(pipe, mesh.normals);
    send(pipe, mesh.indices);
    send(pipe, mesh.material);
    send(pipe, mesh.colours);
  } catch (const std::bad_alloc &) {
    sendText(pipe, Outcome::noMemory, "");
  } catch (const std::exception &error) {
    sendText(pipe, Outcome::refused, std::string("is no mesh that can be read: ") + error.what());
  }
  _exit(0);
}

// ---- in the program ----

class Receiver {
 public:
  Receiver(int pipe, Clock::time_point deadline) : pipe_(pipe), deadline_(deadline) {}
  bool late() const { return late_; }

  // False if the other side ends or the time does before all of it is there.
  bool receive(void *data, size_t bytes) {
    for (auto at = static_cast<char *>(data); bytes > 0;) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline_ - Clock::now());
      pollfd ready = {pipe_, POLLIN, 0};
      const int polled = left.count() > 0 ? poll(&ready, 1, static_cast<int>(left.count())) : 0;
      if (polled < 0 && errno == EINTR) continue;
      late_ = polled == 0;
      if (polled <= 0) return false;
      const ssize_t now = read(pipe_, at, bytes);
      if (now < 0 && errno == EINTR) continue;
      if (now <= 0) return false;
      at += now;
      bytes -= static_cast<size_t>(now);
    }
    return true;
  }

  template <class T>
  bool receive(std::vector<T> &list, uint64_t count) {
    list.resize(count);
    return receive(list.data(), count * sizeof(T));
  }

 private:
  int pipe_;
  Clock::time_point deadline_;
  bool late_ = false;
};

bool haveSense(const Head &head) {
  const auto [vertices, normals, indices, material, colours] = head.counts;
  return vertices % 3 == 0 && vertices / 3 <= Mesh::kMost && normals == vertices && indices == 4 * material &&
         material <= Mesh::kMost && colours % 3 == 0 && colours <= 3 * Mesh::kMost;
}

// Whatever the other process has made of the file: nothing here may lead outside the lists.
std::string judge(const Mesh &mesh) {
  if (mesh.triangleCount() == 0) return "has no triangle";
  const auto materials = static_cast<int32_t>(mesh.colours.size() / 3);
  for (size_t t = 0; t < mesh.material.size(); ++t) {
    bool inside = mesh.material[t] >= 0 && mesh.material[t] < materials;
    for (size_t k = 0; k < 3; ++k) {
      const int32_t vertex = mesh.indices[4 * t + k];
      inside = inside && vertex >= 0 && vertex < mesh.vertexCount();
    }
    if (!inside) return "has a triangle of vertices or materials that aren't there";
  }
  if (!std::all_of(mesh.vertices.begin(), mesh.vertices.end(), [](float x) { return std::isfinite(x); })) {
    return "has a vertex that is not a finite number";
  }
  return "";
}

// Empty if all has arrived and is good.
std::string receiveMesh(Receiver &from, Mesh &mesh, bool &arrived) {
  Head head;
  arrived = from.receive(&head, sizeof head);
  if (!arrived) return "";
  if (head.outcome == Outcome::refused) {
    constexpr uint64_t kLongest = 1 << 16;
    std::string text(std::min(head.counts[0], kLongest), ' ');
    arrived = from.receive(text.data(), text.size());
    return text;
  }
  if (head.outcome == Outcome::noMemory) return "takes too much memory to read (see --import-memory)";
  arrived = head.outcome == Outcome::mesh && haveSense(head) && from.receive(mesh.vertices, head.counts[0]) &&
            from.receive(mesh.normals, head.counts[1]) && from.receive(mesh.indices, head.counts[2]) &&
            from.receive(mesh.material, head.counts[3]) && from.receive(mesh.colours, head.counts[4]);
  return arrived ? judge(mesh) : "";
}

}  // namespace

std::string loadMesh(const std::string &path, Axis up, const ImportLimits &limits, Mesh &mesh) {
  if (std::string reason = vekr_example::whyUnreadable(path); !reason.empty()) return reason;
  const auto deadline = Clock::now() + std::chrono::seconds(limits.seconds);
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return std::string("cannot be read: ") + std::strerror(errno);
  const pid_t parent = getpid(), child = fork();
  if (child < 0) {
    const int error = errno;
    close(ends[0]);
    close(ends[1]);
    return std::string("cannot be read: ") + std::strerror(error);
  }
  if (child == 0) {
    close(ends[0]);
    importAndSend(ends[1], parent, path, up, limits);
  }
  close(ends[1]);
  // Ends the other process, however this function is left.
  struct Child {
    pid_t id;
    int pipe, status = 0;
    ~Child() { end(true); }
    void end(bool now) {
      if (id == 0) return;
      if (now) kill(id, SIGKILL);
      while (waitpid(id, &status, 0) < 0 && errno == EINTR) {
      }
      close(pipe);
      id = 0;
    }
  } other = {child, ends[0]};

  Receiver receiver(ends[0], deadline);
  bool arrived = false;
  const std::string error = receiveMesh(receiver, mesh, arrived);
  if (arrived) return error;
  other.end(receiver.late());
  if (receiver.late()) {
    return "takes more than " + std::to_string(limits.seconds) + " s to read (see --import-time)";
  }
  const std::string how = WIFSIGNALED(other.status) ? strsignal(WTERMSIG(other.status)) : "it has ended";
  return "is no mesh that can be read: the importer does not survive it (" + how + ")";
}

#include "pg_server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <pwd.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <vector>

extern char** environ;

namespace zmdb::testsupport {

namespace fs = std::filesystem;

namespace {

// The directory of the newest installed PostgreSQL's programs, or "".
std::string FindBin() {
  std::vector<std::pair<int, std::string>> found;
  std::error_code ec;
  for (const auto& e : fs::directory_iterator("/usr/lib/postgresql", ec)) {
    const fs::path initdb = e.path() / "bin" / "initdb";
    if (fs::exists(initdb, ec)) {
      found.emplace_back(std::atoi(e.path().filename().c_str()), (e.path() / "bin").string());
    }
  }
  if (found.empty()) return {};
  std::sort(found.begin(), found.end());
  return found.back().second;
}

// Whether this process runs as root (and so must run the server as postgres).
bool IsRoot() {
  return ::geteuid() == 0;
}

// Run a program to its end, its output appended to `log`; the exit status.
int Run(std::vector<std::string> argv, const std::string& log) {
  if (IsRoot()) argv.insert(argv.begin(), {"runuser", "-u", "postgres", "--"});
  std::vector<char*> args;
  for (auto& a : argv) args.push_back(a.data());
  args.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
  posix_spawn_file_actions_adddup2(&actions, 1, 2);
  pid_t pid = 0;
  const int rc = posix_spawnp(&pid, args[0], &actions, nullptr, args.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (rc != 0) return -1;
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// A loopback port nobody listens on right now.
int FreePort() {
  const int s = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t len = sizeof a;
  int port = 0;
  if (::bind(s, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0 &&
      ::getsockname(s, reinterpret_cast<sockaddr*>(&a), &len) == 0) {
    port = ntohs(a.sin_port);
  }
  ::close(s);
  return port;
}

// Hand the directory to the postgres user when running as root.
void GiveToServerUser(const std::string& path) {
  if (!IsRoot()) return;
  if (const passwd* pw = ::getpwnam("postgres")) {
    if (::chown(path.c_str(), pw->pw_uid, pw->pw_gid) != 0) {
      // The server will refuse to start and say why in its log.
    }
  }
}

// The whole text of a file; "" when it cannot be read.
std::string ReadFile(const std::string& path) {
  std::ifstream f(path);
  return std::string(std::istreambuf_iterator<char>(f), {});
}

}  // namespace

std::unique_ptr<PgServer> PgServer::Start(std::string* whyNot, bool watchdog) {
  std::unique_ptr<PgServer> s(new PgServer());
  s->bin_ = FindBin();
  if (s->bin_.empty()) {
    *whyNot = "PostgreSQL is not installed (no /usr/lib/postgresql/*/bin/initdb)";
    return nullptr;
  }
  char templ[] = "/tmp/zmdb_pg_XXXXXX";
  if (!::mkdtemp(templ)) {
    *whyNot = "cannot make a temporary directory";
    return nullptr;
  }
  s->dir_ = templ;
  ::chmod(s->dir_.c_str(), 0755);
  GiveToServerUser(s->dir_);
  const std::string log = s->dir_ + "/setup.log";
  {
    std::ofstream pw(s->dir_ + "/pw");
    pw << kPassword << "\n";
  }
  GiveToServerUser(s->dir_ + "/pw");
  if (Run({s->bin_ + "/initdb", "-D", s->dir_ + "/data", "-U", kUser, "--pwfile=" + s->dir_ + "/pw",
           "--auth-local=trust", "--auth-host=scram-sha-256", "-E", "UTF8", "--locale=C.UTF-8",
           "--no-sync"},
          log) != 0) {
    *whyNot = "initdb failed: " + ReadFile(log);
    s->Remove();
    return nullptr;
  }
  // The port may be taken between the look and the start: try a few.
  for (int attempt = 0; attempt < 5 && s->port_ == 0; ++attempt) {
    const int port = FreePort();
    if (s->StartAt(port)) s->port_ = port;
  }
  if (s->port_ == 0) {
    *whyNot = "the server did not start: " + ReadFile(s->dir_ + "/server.log");
    s->Remove();
    return nullptr;
  }
  if (watchdog) {
    // The watchdog waits for this process to close its end of a pipe (at
    // exit, however it happens) and then stops the server and removes it.
    const std::string stop = std::string(IsRoot() ? "runuser -u postgres -- " : "") + s->bin_ +
                             "/pg_ctl -D " + s->dir_ + "/data -m immediate -w stop; rm -rf " +
                             s->dir_;
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) == 0) {
      const pid_t pid = ::fork();
      if (pid == 0) {
        ::close(fds[1]);
        const int null = ::open("/dev/null", O_RDWR);
        ::dup2(null, 0), ::dup2(null, 1), ::dup2(null, 2);
        ::setsid();
        char c;
        while (::read(fds[0], &c, 1) > 0 || errno == EINTR) {
        }
        ::execl("/bin/sh", "sh", "-c", stop.c_str(), static_cast<char*>(nullptr));
        ::_exit(0);
      }
      ::close(fds[0]);
      s->watchdogPipe_ = fds[1];
      s->watchdogPid_ = pid;
    }
  }
  return s;
}

std::unique_ptr<PgServer> PgServer::Attach(const std::string& stateFile, std::string* whyNot) {
  std::ifstream f(stateFile);
  std::unique_ptr<PgServer> s(new PgServer());
  if (!(f >> s->port_ >> s->dir_ >> s->bin_)) {
    *whyNot = "no server state in " + stateFile;
    return nullptr;
  }
  s->owned_ = false;
  return s;
}

void PgServer::Hand(const std::string& stateFile) {
  std::ofstream f(stateFile);
  f << port_ << "\n" << dir_ << "\n" << bin_ << "\n";
  owned_ = false;
}

bool PgServer::StartAt(int port) {
  const std::string options = "-p " + std::to_string(port) + " -k " + dir_ +
                              " -c listen_addresses=127.0.0.1 -c fsync=off"
                              " -c full_page_writes=off -c synchronous_commit=off";
  return Run({bin_ + "/pg_ctl", "-D", dir_ + "/data", "-l", dir_ + "/server.log", "-o", options,
              "-w", "-t", "60", "start"},
             dir_ + "/setup.log") == 0;
}

bool PgServer::Resume() {
  return !dir_.empty() && port_ != 0 && StartAt(port_);
}

void PgServer::Stop() {
  if (dir_.empty() || !fs::exists(dir_ + "/data/postmaster.pid")) return;
  Run({bin_ + "/pg_ctl", "-D", dir_ + "/data", "-m", "fast", "-w", "-t", "60", "stop"},
      dir_ + "/setup.log");
}

void PgServer::Remove() {
  Stop();
  std::error_code ec;
  if (!dir_.empty()) fs::remove_all(dir_, ec);
}

PgServer::~PgServer() {
  if (owned_) Remove();
  if (watchdogPipe_ >= 0) {
    ::close(watchdogPipe_);
    int status = 0;
    ::waitpid(watchdogPid_, &status, 0);
  }
}

std::string PgServer::ConnectionString(const std::string& database) const {
  return "DRIVER={PostgreSQL Unicode};SERVER=127.0.0.1;PORT=" + std::to_string(port_) +
         ";DATABASE=" + database + ";UID=" + kUser + ";PWD=" + kPassword + ";";
}

void UsePrivateOdbcDrivers(const std::string& scriptsDir) {
  if (std::getenv("ODBCSYSINI")) return;
  char templ[] = "/tmp/zmdb_odbc_XXXXXX";
  if (!::mkdtemp(templ)) return;
  // The driver manager reads the file whenever it loads a driver: the
  // directory stays until the process ends.
  static struct Cleanup {
    std::string dir;
    ~Cleanup() {
      std::error_code ec;
      if (!dir.empty()) fs::remove_all(dir, ec);
    }
  } cleanup;
  cleanup.dir = templ;
  const std::string cmd = scriptsDir + "/register-odbc-drivers.sh " + cleanup.dir +
                          " --test-stand-ins >" + cleanup.dir + "/register.log 2>&1";
  if (std::system(cmd.c_str()) == 0) ::setenv("ODBCSYSINI", cleanup.dir.c_str(), 1);
}

}  // namespace zmdb::testsupport

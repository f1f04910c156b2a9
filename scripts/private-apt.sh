# apt in a folder of its own, for scripts that unpack a package without installing it. To be sourced.
#
#   private_apt FOLDER
#
# Makes FOLDER/apt.conf. With that configuration (apt-get -c FOLDER/apt.conf), read after the
# system's own, apt keeps its lists, its cache and its state in FOLDER, knows no installed package,
# and runs none of the hooks that clean up after an update. Nothing of the system is changed, and
# root is not needed. The package sources are the system's.
#
#   private_apt_sources FOLDER
#
# From then on they are those in FOLDER/sources alone, without the system's preferences.

private_apt() {
    local apt=$1
    mkdir -p "$apt"/{state/lists/partial,cache/archives/partial}
    : >"$apt/status"
    cat >"$apt/apt.conf" <<END
#clear APT::Update;
#clear APT::Architectures;
APT::Architectures { "$(dpkg --print-architecture)"; };
APT::Sandbox::User "root";
Dir::State "$apt/state";
Dir::State::lists "$apt/state/lists";
Dir::State::status "$apt/status";
Dir::Cache "$apt/cache";
Dir::Cache::archives "$apt/cache/archives";
Dir::Cache::pkgcache "";
Dir::Cache::srcpkgcache "";
Acquire::Languages "none";
Acquire::Retries "1";
Acquire::http::Timeout "20";
Acquire::https::Timeout "20";
END
}

private_apt_sources() {
    local apt=$1
    mkdir -p "$apt/sources"
    cat >>"$apt/apt.conf" <<END
#clear APT::Default-Release;
Dir::Etc::sourcelist "/dev/null";
Dir::Etc::sourceparts "$apt/sources";
Dir::Etc::preferences "/dev/null";
Dir::Etc::preferencesparts "/dev/null";
END
}

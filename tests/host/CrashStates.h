#pragma once

#include "HostWorkshop.h"

#include <fstream>
#include <functional>
#include <random>

namespace w64 {

// What a program did to the files of a folder, and every state in which a power cut could leave them.
class CrashStates {
public:
    // Of more than `limit` states at a time, a sixteenth of as many are tried.
    CrashStates(Folder before, const std::string& folder, const std::filesystem::path& log,
                size_t limit = 4096)
        : folder_(folder), limit_(limit) {
        for (auto& [name, bytes] : before) {
            onDisk_.names[name] = now_[name] = inodes_;
            onDisk_.files[inodes_++] = std::move(bytes);
        }
        std::ifstream in(log, std::ios::binary);
        Collect();
        for (Operation op; in >> op.kind >> op.name >> op.position >> op.bytes >> op.count;) {
            op.data.resize(op.bytes);
            in.ignore();
            in.read(reinterpret_cast<char*>(op.data.data()), static_cast<std::streamsize>(op.bytes));
            Perform(op);
            if (op.kind != "read") Collect();
        }
    }

    const std::set<Folder>& All() const { return states_; }

private:
    struct Disk {
        std::map<std::string, int> names;
        std::map<int, Bytes> files;
    };
    struct Operation {
        std::string kind, name;
        size_t position, bytes, count;
        Bytes data;
    };
    struct Change {  // that may or may not have reached the disk
        int inode;   // 0 for the folder
        std::function<void(Disk&)> make;
    };

    void Perform(const Operation& op) {
        if (op.kind == "sync" && op.name == folder_) return Sync(0);
        const std::string name = op.name.substr(folder_.size() + 1);
        if (op.kind == "create") {
            const int inode = now_[name] = inodes_++;
            onDisk_.files[inode];
            pending_.push_back({0, [=](Disk& disk) { disk.names[name] = inode; }});
        } else if (op.kind == "unlink") {
            now_.erase(name);
            pending_.push_back({0, [=](Disk& disk) { disk.names.erase(name); }});
        } else if (op.kind == "rename") {
            const std::string to = std::string(op.data.begin(), op.data.end()).substr(folder_.size() + 1);
            const int inode = now_[to] = now_[name];
            now_.erase(name);
            pending_.push_back({0, [=](Disk& disk) { disk.names.erase(name), disk.names[to] = inode; }});
        } else if (op.kind == "sync") {
            Sync(now_[name]);
        } else if (op.kind == "truncate") {
            Resize(now_[name], op.position, true);
        } else if (op.kind == "write") {
            Write(now_[name], op.position, op.data);
        }
    }

    void Resize(int inode, size_t size, bool cuts) {
        pending_.push_back({inode, [=](Disk& disk) {
                                Bytes& file = disk.files[inode];
                                if (cuts || file.size() < size) file.resize(size);
                            }});
    }

    // The length can reach the disk before the bytes, and these in pieces of 512.
    void Write(int inode, size_t position, const Bytes& data) {
        Resize(inode, position + data.size(), false);
        for (size_t from = 0, to = 0; from < data.size(); from = to) {
            to = std::min(data.size(), (position + from) / 512 * 512 + 512 - position);
            pending_.push_back({inode, [=, piece = Slice(data, from, to)](Disk& disk) {
                                    Bytes& file = disk.files[inode];
                                    file.resize(std::max(file.size(), position + to));
                                    std::ranges::copy(
                                        piece, file.begin() + static_cast<std::ptrdiff_t>(position + from));
                                }});
        }
    }

    void Sync(int inode) {
        std::erase_if(pending_, [&](const Change& change) {
            if (change.inode == inode) change.make(onDisk_);
            return change.inode == inode;
        });
    }

    // Every subset of the changes that may be lost, or a sample.
    void Collect() {
        const bool isAll = pending_.size() < 64 && uint64_t{1} << pending_.size() <= limit_;
        const size_t count = isAll ? size_t{1} << pending_.size() : limit_ / 16;
        for (size_t i = 0; i < count; ++i) {
            const uint64_t chosen = isAll ? i : random_();
            Disk disk = onDisk_;
            for (size_t k = 0; k < pending_.size(); ++k) {
                if (chosen >> k % 64 & 1) pending_[k].make(disk);
            }
            Folder state;
            for (const auto& [name, inode] : disk.names) state[name] = disk.files[inode];
            states_.insert(std::move(state));
        }
    }

    const std::string folder_;
    const size_t limit_;
    int inodes_ = 1;
    Disk onDisk_;
    std::map<std::string, int> now_;
    std::vector<Change> pending_;
    std::mt19937_64 random_{64};
    std::set<Folder> states_;
};

}  // namespace w64

// A folder of the test's own that goes with it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

class CTemporaryFolder
{
public:
    CTemporaryFolder()
    {
        std::string name = (std::filesystem::temp_directory_path() / "lantern-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr)
            throw std::runtime_error("no temporary folder");
        mPath = name;
    }
    CTemporaryFolder(const CTemporaryFolder&) = delete;
    CTemporaryFolder& operator=(const CTemporaryFolder&) = delete;
    ~CTemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(mPath, ignored);
    }

    const std::string& GetPath() const { return mPath; }
    std::string File(const std::string& name) const { return mPath + "/" + name; }

private:
    std::string mPath;
};

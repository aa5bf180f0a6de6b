// As Debian builds its library.
#define SI_CONVERT_ICU
#include <SimpleIni.h>

#include "Peers.h"

namespace bench {

namespace {

struct Setter {
    CSimpleIniCaseA& file;
    const char* section;
    const char* key;

    void operator()(int number) const { file.SetLongValue(section, key, number); }
    void operator()(bool flag) const { file.SetBoolValue(section, key, flag); }
    void operator()(double number) const { file.SetDoubleValue(section, key, number); }
    void operator()(const std::string& text) const {
        file.SetValue(section, key, escaped(text).c_str());
    }
    void operator()(const std::vector<int>& numbers) const {
        file.SetValue(section, key, joined(numbers, ';').c_str());
    }
};

class SimpleIniStore : public Store {
public:
    using Store::Store;

    void open(const std::string& path) override {
        path_ = path;
        file_.LoadFile(path.c_str());
    }

    Value get(std::size_t position) const override {
        const char* const section = names_[position].section.c_str();
        const char* const key = names_[position].key.c_str();
        switch (kindOf(position)) {
            case 0:
                return static_cast<int>(file_.GetLongValue(section, key));
            case 1:
                return file_.GetBoolValue(section, key);
            case 2:
                return file_.GetDoubleValue(section, key);
            case 3:
                return unescaped(file_.GetValue(section, key));
            default:
                return split(file_.GetValue(section, key), ';');
        }
    }

    void set(std::size_t position, const Value& value) override {
        const TwoNames& name = names_[position];
        std::visit(Setter{file_, name.section.c_str(), name.key.c_str()}, value);
    }

    void save(Durability durability) override {
        std::string text;
        file_.Save(text);
        replaceFile(path_, text, durability);
    }

protected:
    void prepareName(const Setting& setting) override {
        names_.push_back({setting.section, setting.key});
    }

private:
    std::vector<TwoNames> names_;
    CSimpleIniCaseA file_{true};
    std::string path_;
};

}  // namespace

std::unique_ptr<Store> makeSimpleIni(const Settings& settings, const std::string&) {
    return std::make_unique<SimpleIniStore>(settings);
}

}  // namespace bench

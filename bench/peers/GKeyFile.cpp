#include <glib.h>
#include <sys/stat.h>

#include "Peers.h"

namespace bench {

namespace {

std::vector<int> arrayOf(GKeyFile* file, const char* group, const char* key) {
    gsize size = 0;
    gint* const numbers = g_key_file_get_integer_list(file, group, key, &size, nullptr);
    std::vector<int> array(numbers, numbers + size);
    g_free(numbers);
    return array;
}

std::string stringOf(GKeyFile* file, const char* group, const char* key) {
    gchar* const text = g_key_file_get_string(file, group, key, nullptr);
    std::string string(text);
    g_free(text);
    return string;
}

struct Setter {
    GKeyFile* file;
    const char* group;
    const char* key;

    void operator()(int number) const { g_key_file_set_integer(file, group, key, number); }
    void operator()(bool flag) const { g_key_file_set_boolean(file, group, key, flag ? 1 : 0); }
    void operator()(double number) const { g_key_file_set_double(file, group, key, number); }
    void operator()(const std::string& text) const {
        g_key_file_set_string(file, group, key, text.c_str());
    }
    void operator()(std::vector<int> numbers) const {
        g_key_file_set_integer_list(file, group, key, numbers.data(), numbers.size());
    }
};

class GKeyFileStore : public Store {
public:
    explicit GKeyFileStore(const Settings& settings) : Store(settings), file_(g_key_file_new()) {}
    ~GKeyFileStore() override { g_key_file_free(file_); }
    GKeyFileStore(const GKeyFileStore&) = delete;
    GKeyFileStore& operator=(const GKeyFileStore&) = delete;

    void open(const std::string& path) override {
        path_ = path;
        g_key_file_load_from_file(file_, path.c_str(), G_KEY_FILE_NONE, nullptr);
    }

    Value get(std::size_t position) const override {
        const char* const group = names_[position].section.c_str();
        const char* const key = names_[position].key.c_str();
        switch (kindOf(position)) {
            case 0:
                return g_key_file_get_integer(file_, group, key, nullptr);
            case 1:
                return g_key_file_get_boolean(file_, group, key, nullptr) != 0;
            case 2:
                return g_key_file_get_double(file_, group, key, nullptr);
            case 3:
                return stringOf(file_, group, key);
            default:
                return arrayOf(file_, group, key);
        }
    }

    void set(std::size_t position, const Value& value) override {
        const TwoNames& name = names_[position];
        std::visit(Setter{file_, name.section.c_str(), name.key.c_str()}, value);
    }

    void save(Durability durability) override {
        gsize size = 0;
        gchar* const text = g_key_file_to_data(file_, &size, nullptr);
        const int flags = durability == Durability::kDurable
                              ? G_FILE_SET_CONTENTS_CONSISTENT | G_FILE_SET_CONTENTS_DURABLE
                              : G_FILE_SET_CONTENTS_NONE;
        const gboolean done = g_file_set_contents_full(
            path_.c_str(), text, static_cast<gssize>(size),
            static_cast<GFileSetContentsFlags>(flags), S_IRUSR | S_IWUSR, nullptr);
        g_free(text);
        if (done == 0) throw std::runtime_error("GKeyFile cannot save");
    }

protected:
    void prepareName(const Setting& setting) override {
        names_.push_back({setting.section, setting.key});
    }

private:
    std::vector<TwoNames> names_;
    GKeyFile* file_;
    std::string path_;
};

}  // namespace

std::unique_ptr<Store> makeGKeyFile(const Settings& settings, const std::string&) {
    return std::make_unique<GKeyFileStore>(settings);
}

}  // namespace bench

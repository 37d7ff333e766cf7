// The entry point: what it registers with the host and in which order, and the assistance texts.
#include "session.h"

#include <cstdarg>
#include <cstring>
#include <dlfcn.h>
#include <map>

namespace {

std::vector<std::string> calls;         // of the host's functions below, in order
std::map<std::string, method> handlers; // as bound last
std::vector<std::string> at_load;       // the calls of the program's only linking

template <class F>
F *host_function(const char *name)
{
    return reinterpret_cast<F *>(dlsym(RTLD_NEXT, name));
}

} // namespace

// These stand in front of the host's own, so that a test sees who is called when.
t_class *class_new(const char *name, method make, method free, long size, method menu, short type,
                   ...)
{
    calls.push_back(std::string("class_new ") + name + " " + std::to_string(size) +
                    (menu ? " menu " : " no menu ") + std::to_string(type));
    handlers["new"] = make;
    handlers["free"] = free;
    return host_function<decltype(class_new)>("class_new")(name, make, free, size, menu, type, 0);
}

t_max_err class_addmethod(t_class *c, method m, const char *name, ...)
{
    int types[3] = {};
    std::string call = std::string("class_addmethod ") + name;
    va_list list;
    va_start(list, name);
    for (int &type : types) {
        if ((type = va_arg(list, int)) == 0) break;
        call += " " + std::to_string(type);
    }
    va_end(list);
    calls.push_back(call);
    handlers[name] = m;
    return host_function<decltype(class_addmethod)>("class_addmethod")(c, m, name, types[0],
                                                                       types[1], types[2], 0);
}

t_max_err class_register(t_symbol *space, t_class *c)
{
    calls.push_back(std::string("class_register ") + space->s_name);
    return host_function<decltype(class_register)>("class_register")(space, c);
}

void class_dspinit(t_class *c)
{
    calls.push_back("class_dspinit");
    host_function<decltype(class_dspinit)>("class_dspinit")(c);
}

t_symbol *gensym(const char *text)
{
    calls.push_back(std::string("gensym ") + text);
    return host_function<decltype(gensym)>("gensym")(text);
}

t_ptr sysmem_newptr(t_ptr_size size)
{
    calls.push_back("sysmem_newptr " + std::to_string(size));
    return host_function<decltype(sysmem_newptr)>("sysmem_newptr")(size);
}

namespace {

using ::testing::ElementsAreArray;
using ::testing::StartsWith;

/// Fog pool, numbers and parameters, in the order of registration, with their type codes.
const std::vector<std::string> bindings = {
    "dsp64 9",   "assist 9",  "dblclick 9", "notify 9", "bang",     "reset",    "freefogs",
    "usedfogs",  "maxfogs 1", "silent 1",   "set 3",    "offset 8", "transp 8", "bw 8",
    "amp 8",     "list 8",    "tex 8",      "debatt 8", "atten 8",  "lp 8",     "env 8",
    "autoenv 8", "f0phase 8", "limit 1 1",  "test 1",   "int 1",    "float 2",  "list 8"};

class entry : public session {
protected:
    void SetUp() override
    {
        session::SetUp(); // the first one links the object, and clears the console after that
        if (at_load.empty()) at_load = calls;
        calls.clear();
    }

    /// Loads once more. The host keeps the first class, so instances go on to be made of it.
    void load_again()
    {
        t_class *const registered = k_vorb_class;
        ext_main(nullptr);
        second_class = k_vorb_class;
        k_vorb_class = registered;
    }

    t_class *second_class = nullptr;
};

TEST_F(entry, builds_the_tables_then_the_class_then_its_messages_then_its_symbols)
{
    std::vector<std::string> expected = {
        "sysmem_newptr 4096", "class_new k.vorb~ " + std::to_string(sizeof(vorb)) + " no menu 8"};
    for (const std::string &binding : bindings) expected.push_back("class_addmethod " + binding);
    const size_t fixed = expected.size();
    ASSERT_GT(at_load.size(), fixed);
    EXPECT_THAT(std::vector<std::string>(at_load.begin(), at_load.begin() + long(fixed)),
                ElementsAreArray(expected));
    const std::vector<std::string> tail = {
        "class_addmethod all",    "gensym buffer~", "gensym all", "gensym sample1",
        "gensym buffer_modified", "class_dspinit",  "gensym box", "class_register box"};
    ASSERT_GE(at_load.size(), fixed + tail.size());
    EXPECT_THAT(std::vector<std::string>(at_load.end() - long(tail.size()), at_load.end()),
                ElementsAreArray(tail));
}

TEST_F(entry, binds_each_selector_to_its_handler)
{
    const std::map<std::string, method> expected = {{"new", (method)vorb_new},
                                                    {"free", (method)vorb_free},
                                                    {"dsp64", (method)vorb_dsp64},
                                                    {"dblclick", (method)vorb_dblclick},
                                                    {"notify", (method)vorb_notify},
                                                    {"bang", (method)vorb_bang},
                                                    {"reset", (method)vorb_reset},
                                                    {"freefogs", (method)vorb_freefogs},
                                                    {"usedfogs", (method)vorb_usedfogs},
                                                    {"maxfogs", (method)vorb_maxfogs},
                                                    {"silent", (method)vorb_silent},
                                                    {"set", (method)vorb_set},
                                                    {"offset", (method)vorb_offset},
                                                    {"transp", (method)vorb_transp},
                                                    {"bw", (method)vorb_bw},
                                                    {"amp", (method)vorb_amp},
                                                    {"list", (method)vorb_amplist},
                                                    {"tex", (method)vorb_tex},
                                                    {"debatt", (method)vorb_debatt},
                                                    {"atten", (method)vorb_atten},
                                                    {"lp", (method)vorb_lp},
                                                    {"env", (method)vorb_env},
                                                    {"autoenv", (method)vorb_autoenv},
                                                    {"f0phase", (method)vorb_f0phase},
                                                    {"limit", (method)vorb_limit},
                                                    {"test", (method)vorb_test},
                                                    {"int", (method)vorb_int},
                                                    {"float", (method)vorb_float},
                                                    {"all", (method)vorb_all}};
    for (const auto &[selector, handler] : expected)
        EXPECT_EQ(handlers[selector], handler) << selector;
}

TEST_F(entry, a_patch_can_send_every_message_but_the_host_s_private_calls)
{
    const t_object *x = object(create());
    for (const std::string &binding : bindings) {
        const std::string selector = binding.substr(0, binding.find(' '));
        const bool is_private = binding.substr(selector.size()) == " 9";
        EXPECT_EQ(host::understands(x, selector), !is_private) << selector;
    }
    EXPECT_TRUE(host::understands(x, "all"));
    EXPECT_FALSE(host::understands(x, "print"));
}

TEST_F(entry, caches_its_symbols_and_its_class)
{
    EXPECT_EQ(ps_buffer, gensym("buffer~"));
    EXPECT_EQ(ps_all, gensym("all"));
    EXPECT_EQ(ps_sample1, gensym("sample1"));
    EXPECT_EQ(ps_buffer_modified, gensym("buffer_modified"));
    EXPECT_STREQ(s_vorb_name, "k.vorb~");
    EXPECT_NE(k_vorb_class, nullptr);
    load_again();
    EXPECT_NE(second_class, nullptr);
    EXPECT_NE(second_class, k_vorb_class); // stored anew at each load
}

TEST_F(entry, posts_one_line_that_begins_with_the_class_name)
{
    load_again();
    const std::vector<host::line> rows = host::take_console();
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_THAT(rows[0].text, StartsWith("k.vorb~ "));
    EXPECT_GT(rows[0].text.size(), std::strlen("k.vorb~ "));
    EXPECT_FALSE(rows[0].error);
}

TEST_F(entry, a_second_load_does_not_build_the_tables_again)
{
    const k_sampfilt_row *table = k_sampfilt_tab;
    ASSERT_NE(table, nullptr);
    load_again();
    EXPECT_EQ(k_sampfilt_tab, table);
    EXPECT_THAT(calls.front(), StartsWith("class_new"));
    for (const std::string &call : calls) EXPECT_NE(call.substr(0, 6), "sysmem") << call;
}

TEST_F(entry, utilities_start_once_even_if_their_table_is_missing)
{
    k_sampfilt_row *const table = k_sampfilt_tab;
    k_sampfilt_tab = nullptr;
    k_init_utils();
    EXPECT_EQ(k_sampfilt_tab, nullptr); // the next instance makes it
    EXPECT_THAT(calls, IsEmpty());
    k_sampfilt_tab = table;
}

// ---- Assistance ---------------------------------------------------------------------------------

class assistance : public session {
protected:
    /// What the handler leaves in a text that was there before.
    static std::string ask(vorb *x, long kind, long index)
    {
        using handler = void (*)(vorb *, void *, long, long, char *);
        char text[ASSIST_MAX_STRING_LEN] = "as it was";
        reinterpret_cast<handler>(handlers["assist"])(x, nullptr, kind, index, text);
        return text;
    }
};

TEST_F(assistance, tells_each_inlet_whatever_the_layout)
{
    const std::vector<std::string> texts = {"(various/signal) General Control / F0",
                                            "(number/signal) Offset in ms",
                                            "(number) Transposition Factor",
                                            "(number) Bandwidth in Hz",
                                            "(number) Linear Amplitude",
                                            "(number) Temps d'excitations in ms",
                                            "(number) Debut d'Attenuation in ms",
                                            "(number) Attenuation in ms",
                                            "(number) Lowpass Coefficient [0..1]"};
    for (const char *layout : {"1", "2", "4", "6", "10"}) {
        vorb *x = create(layout);
        for (size_t k = 0; k < texts.size(); ++k)
            EXPECT_EQ(host::assist(object(x), ASSIST_INLET, long(k)), texts[k]);
    }
}

TEST_F(assistance, tells_each_outlet_of_each_layout)
{
    const std::string out = "(signal) Output ", aux = "(signal) Aux ";
    const std::string number = "(integer) Free or Used Fogs";
    const std::vector<std::vector<std::string>> all_texts = {
        {out + "1", number},
        {out + "1", out + "2", number},
        {out + "1", out + "2", aux + "1", aux + "2", number},
        {out + "1", out + "2", out + "3", out + "4", aux + "1", aux + "2", number},
        {out + "1", out + "2", out + "3", out + "4", out + "5", out + "6", out + "7", out + "8",
         aux + "1", aux + "2", number}};
    for (const std::vector<std::string> &texts : all_texts) {
        vorb *x = create(std::to_string(texts.size() - 1));
        EXPECT_EQ(host::outlets(object(x)).size(), texts.size());
        for (size_t k = 0; k < texts.size(); ++k)
            EXPECT_EQ(host::assist(object(x), ASSIST_OUTLET, long(k)), texts[k]) << texts.size();
        EXPECT_EQ(ask(x, ASSIST_OUTLET, long(texts.size())), "as it was");
    }
}

TEST_F(assistance, leaves_the_text_alone_beyond_its_tables)
{
    vorb *x = create("1");
    const std::pair<long, long> places[] = {{ASSIST_INLET, 9},
                                            {ASSIST_INLET, 1000},
                                            {ASSIST_INLET, -1},
                                            {ASSIST_OUTLET, 2},
                                            {ASSIST_OUTLET, 3},
                                            {ASSIST_OUTLET, 11},
                                            {ASSIST_OUTLET, -1},
                                            {0, 0},
                                            {3, 0},
                                            {-1, 0}};
    for (const auto &[kind, index] : places)
        EXPECT_EQ(ask(x, kind, index), "as it was") << kind << ' ' << index;
    x->inputs.channels = 3; // no layout
    for (long k = 0; k < 12; ++k) EXPECT_EQ(ask(x, ASSIST_OUTLET, k), "as it was");
    EXPECT_EQ(ask(x, ASSIST_INLET, 7), "(number) Attenuation in ms");
}

} // namespace

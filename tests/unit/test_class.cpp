// The entry point: what it registers with the host and in which order, and the assistance texts.
#include "host_function.h"
#include "session.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <map>

namespace {

std::vector<std::string> calls;         // of the host's functions below, in order
std::map<std::string, method> handlers; // as bound last
std::vector<method> bound;              // in order
std::vector<std::string> at_load;       // the calls of the program's only linking

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
    bound.push_back(m);
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

void object_post(t_object *x, C74_CONST char *format, ...)
{
    calls.push_back("object_post");
    va_list list;
    va_start(list, format);
    post_on(x, format, list);
    va_end(list);
}

t_ptr sysmem_newptr(t_ptr_size size)
{
    calls.push_back("sysmem_newptr " + std::to_string(size));
    static int depth = 0;
    if (depth++ == 0) k_init_utils(); // once more, while it may be at work: repeats nothing
    --depth;
    return host_function<decltype(sysmem_newptr)>("sysmem_newptr")(size);
}

namespace {

using ::testing::ElementsAreArray;
using ::testing::StartsWith;

struct binding {
    std::string selector, types; // the codes as text, each after a blank
    method handler;              // null for one that cannot be named here
};

/// Every message, in the order of registration.
const binding bindings[] = {
    {"dsp64", " 9", (method)vorb_dsp64},       {"assist", " 9", nullptr},
    {"dblclick", " 9", (method)vorb_dblclick}, {"notify", " 9", (method)vorb_notify},
    {"bang", "", (method)vorb_bang},           {"reset", "", (method)vorb_reset},
    {"freefogs", "", (method)vorb_freefogs},   {"usedfogs", "", (method)vorb_usedfogs},
    {"maxfogs", " 1", (method)vorb_maxfogs},   {"silent", " 1", (method)vorb_silent},
    {"set", " 3", (method)vorb_set},           {"offset", " 8", (method)vorb_offset},
    {"transp", " 8", (method)vorb_transp},     {"bw", " 8", (method)vorb_bw},
    {"amp", " 8", (method)vorb_amp},           {"list", " 8", (method)vorb_amplist},
    {"tex", " 8", (method)vorb_tex},           {"debatt", " 8", (method)vorb_debatt},
    {"atten", " 8", (method)vorb_atten},       {"lp", " 8", (method)vorb_lp},
    {"env", " 8", (method)vorb_env},           {"autoenv", " 8", (method)vorb_autoenv},
    {"f0phase", " 8", (method)vorb_f0phase},   {"limit", " 1 1", (method)vorb_limit},
    {"test", " 1", (method)vorb_test},         {"int", " 1", (method)vorb_int},
    {"float", " 2", (method)vorb_float},       {"list", " 8", (method)vorb_amplist},
    {"gain", " 8", (method)vorb_gain},         {"pan", " 8", (method)vorb_pan},
    {"pan8", " 8", (method)vorb_pan8},         {"panb", " 8", (method)vorb_panb},
    {"angle", " 8", (method)vorb_angle},       {"direction", " 8", (method)vorb_direction},
    {"polar", " 8", (method)vorb_polar},       {"aux1", " 8", (method)vorb_aux1},
    {"aux2", " 8", (method)vorb_aux2},         {"all", "", (method)vorb_all},
};

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

TEST_F(entry,
       announces_itself_then_makes_the_tables_then_the_class_then_its_messages_then_its_symbols)
{
    std::vector<std::string> expected = {"object_post",
                                         "sysmem_newptr 4096", // 256 rows of four weights
                                         "sysmem_newptr 8192", // room for 1024 random generators
                                         "class_new k.vorb~ " + std::to_string(sizeof(vorb)) +
                                             " no menu 8"};
    for (const binding &b : bindings) expected.push_back("class_addmethod " + b.selector + b.types);
    for (const char *last :
         {"gensym buffer~", "gensym all", "gensym sample1", "gensym buffer_modified",
          "class_dspinit", "gensym box", "class_register box"})
        expected.push_back(last);
    EXPECT_THAT(at_load, ElementsAreArray(expected));
}

TEST_F(entry, binds_its_38_messages_to_their_handlers)
{
    EXPECT_EQ(std::size(bindings), 38u);
    ASSERT_GE(bound.size(), std::size(bindings)); // more when loaded again
    for (size_t k = 0; k < std::size(bindings); ++k) {
        SCOPED_TRACE(bindings[k].selector);
        EXPECT_NE(bound[k], nullptr);
        if (!bindings[k].handler) continue;
        EXPECT_EQ(bound[k], bindings[k].handler);
    }
    EXPECT_EQ(handlers["new"], (method)vorb_new);
    EXPECT_EQ(handlers["free"], (method)vorb_free);
}

TEST_F(entry, a_patch_can_send_every_message_but_the_host_s_private_calls)
{
    const t_object *x = object(create());
    for (const binding &b : bindings)
        EXPECT_EQ(host::understands(x, b.selector), b.types != " 9") << b.selector;
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
    EXPECT_EQ(rows[0].object, nullptr);
}

TEST_F(entry, a_second_load_does_not_build_the_tables_again)
{
    const k_sampfilt_row *table = k_sampfilt_tab;
    ASSERT_NE(table, nullptr);
    std::uint64_t *const *slots = k_the_rnd_pool.slots;
    double *const entries[] = {&k_sin_pan_table[300], &k_sqrt_pan_table[300],
                               &k_sin_pos_table[13000], &k_sqrt_pos_table[13000],
                               &k_sqrt_table[300]};
    for (double *e : entries) *e += 1; // building would undo this
    load_again();
    for (double *e : entries) {
        EXPECT_GT(*e, 1);
        *e -= 1;
    }
    EXPECT_EQ(k_sampfilt_tab, table);
    EXPECT_EQ(k_the_rnd_pool.slots, slots);
    EXPECT_THAT(calls[1], StartsWith("class_new")); // after the line on the console
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

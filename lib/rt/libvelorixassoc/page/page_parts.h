#ifndef VELORIX_ASSOC_PAGE_PARTS_H
#define VELORIX_ASSOC_PAGE_PARTS_H
// The page that web/ is built into, embedded: what stands in front of its data, and behind them.
extern "C" {
extern const char velorix_page_head[];
extern const char velorix_page_head_end[];
extern const char velorix_page_tail[];
extern const char velorix_page_tail_end[];
}
#endif

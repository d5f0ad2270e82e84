/**
 * @file ae-gpio.h
 * @brief GPIO lines through the kernel's files under /sys/class/gpio.
 *
 * @code
 * gpio_export(17);
 * gpio_set_dir(17, 1);
 * gpio_set_value(17, 1);                                   // line 17 is high now
 *
 * uint32_t fired;
 * int fd = gpio_intr_init(23, &fired, "falling");
 * while (fd >= 0 && running) {
 *   if (gpio_intr_check(fd, &fired) == 1) button_pressed();
 *   ambrelusleep(10000);                                   // the check itself never waits
 * }
 * if (fd >= 0) gpio_fd_close(fd, &fired);
 * @endcode
 *
 * Each call opens, uses and closes its file; nothing is kept between calls but the descriptor that
 * the interrupt functions hand out. Nothing is retried. Failures are told by the result and logged
 * at level DEBUG.
 *
 * **Line numbers** are the kernel's. They follow the order in which the kernel found its GPIO chips
 * and can change with the kernel or the device tree.
 *
 * **Thread safety.** Any thread may call any function; two threads that set up the same line at
 * once get what the kernel makes of it.
 *
 * **Shared arguments.**
 * - `line`: the line's number, as the kernel counts.
 */
#ifndef COMMONUTILITIES_AE_GPIO_H
#define COMMONUTILITIES_AE_GPIO_H

#include "commonutilities_api.h"

CU_BEGIN_DECLS

/**
 * @brief Makes a line's files appear. A line that is exported already is refused by the kernel.
 *
 * @return 0, or -1.
 */
CU_API int gpio_export(int line);

/**
 * @brief Gives an exported line back.
 *
 * @return 0, or -1.
 */
CU_API int gpio_unexport(int line);

/**
 * @brief Makes a line an output or an input.
 *
 * @param output not 0: output, driven low by the kernel; 0: input.
 * @return 0, or -1.
 */
CU_API int gpio_set_dir(int line, uint32_t output);

/**
 * @brief Drives an output line.
 *
 * @param value not 0: high; 0: low.
 * @return 0, or -1.
 */
CU_API int gpio_set_value(int line, uint32_t value);

/**
 * @brief Reads a line.
 *
 * @param value receives 0 or 1; left alone on failure.
 * @return 0, or -1; -1 at once for a null @p value.
 */
CU_API int gpio_get_value(int line, uint32_t *value);

/**
 * @brief Chooses the edge at which a line's value file signals an interrupt.
 *
 * @param edge "none", "rising", "falling" or "both".
 * @return 0, or -1; -1 at once for a null @p edge.
 */
CU_API int gpio_set_edge(int line, const char *edge);

/**
 * @brief Opens a line's value file for gpio_intr_check(), without blocking.
 *
 * @return a descriptor, to be closed with gpio_fd_close(); -1 on failure.
 */
CU_API CU_MUST_USE int gpio_fd_open(int line);

/**
 * @brief Closes a descriptor of gpio_fd_open() or gpio_intr_init().
 *
 * @param fd    what gpio_fd_open() or gpio_intr_init() gave.
 * @param fired set to 0; may be null.
 * @return what close() gave: 0, or -1.
 */
CU_API int gpio_fd_close(int fd, uint32_t *fired);

/**
 * @brief Sets a line up as an interrupt source: exports it, makes it an input, chooses the edge and
 *        opens its value file.
 *
 * Only the last step decides the result. A line that was exported already is therefore no failure,
 * but neither is a refused direction or edge: call gpio_set_dir() and gpio_set_edge() yourself
 * where you have to know.
 *
 * @param fired set to 0.
 * @param edge  as for gpio_set_edge().
 * @return a descriptor, to be closed with gpio_fd_close(); -1 on failure, and at once for a null
 *         argument.
 */
CU_API CU_MUST_USE int gpio_intr_init(int line, uint32_t *fired, const char *edge);

/**
 * @brief Asks whether an interrupt has fired since the last call, and re-arms it. Never waits.
 *
 * The first check after opening may report an interrupt that happened before.
 *
 * @param fd    a descriptor of gpio_fd_open() or gpio_intr_init().
 * @param fired receives 1 when it has, else 0.
 * @return 1 when it has, 0 when not, also for a descriptor that is not open; -1 on failure, and at
 *         once for a null @p fired.
 */
CU_API int gpio_intr_check(int fd, uint32_t *fired);

CU_END_DECLS

#endif

! Calls without lengths behind their characters, those with them, and services, as the module offers them.
module selections
  use, intrinsic :: iso_c_binding
  implicit none

contains

  function is_negative(wr, wi) bind(c)
    real(c_double), intent(in) :: wr, wi
    integer(c_int) :: is_negative
    is_negative = merge(1, 0, wr < 0 .and. wi == 0)
  end function

  function is_above(w) bind(c)
    complex(c_double_complex), intent(in) :: w
    integer(c_int) :: is_above
    is_above = merge(1, 0, aimag(w) > 0)
  end function

  function is_below(alphar, alphai, beta) bind(c)
    real(c_double), intent(in) :: alphar, alphai, beta
    integer(c_int) :: is_below
    is_below = merge(1, 0, alphar < 0 .and. alphai == 0 .and. beta > 0)
  end function

  function has_quotient_above(alpha, beta) bind(c)
    complex(c_double_complex), intent(in) :: alpha, beta
    integer(c_int) :: has_quotient_above
    has_quotient_above = merge(1, 0, aimag(alpha / beta) > 0)
  end function

end module selections

program short_names_test
  use, intrinsic :: iso_c_binding
  use nuv_lapack
  use selections
  implicit none
  integer :: failures = 0

  call factors_and_solves
  call takes_several_options
  call keeps_the_names_with_lengths
  call asks_procedures_of_the_caller
  call asks_procedures_of_the_caller_about_pencils
  call offers_the_services
  if (failures > 0) stop 1

contains

  subroutine expect(condition, what)
    logical, intent(in) :: condition
    character(*), intent(in) :: what
    if (condition) return
    print '(2a)', 'failed: ', what
    failures = failures + 1
  end subroutine

  subroutine factors_and_solves
    real(c_double) :: a(2, 2) = reshape([4d0, 2d0, 7d0, 5d0], [2, 2]), b(2) = [8d0, 9d0]
    integer(c_int) :: info
    call nuv_dpotrf('L', 2, a, 2, info)
    call expect(info == 0 .and. a(1, 1) == 2 .and. a(2, 2) == 2 .and. a(1, 2) == 7, 'nuv_dpotrf')
    call nuv_dpotrs('L', 2, 1, a, 2, b, 2, info)
    call expect(info == 0 .and. abs(b(1) - 1.375d0) < 1d-14, 'nuv_dpotrs')
    call nuv_dpotrf('X', 2, a, 2, info)
    call expect(info == -1, 'a bad option')
  end subroutine

  subroutine takes_several_options
    complex(c_double_complex) :: a(2, 2), work(64)
    real(c_double) :: w(2), rwork(64), x(3) = [3d0, 0d0, 4d0]
    integer(c_int) :: info
    a = reshape([complex(c_double_complex) :: 2, (0, -1), (0, 1), 2], [2, 2])
    call nuv_zheev('V', 'L', 2, a, 2, w, work, 64, rwork, info)
    call expect(info == 0 .and. maxval(abs(w - [1, 3])) < 1d-14, 'nuv_zheev')
    call expect(abs(nuv_dnrm2(3, x, 1) - 5) < 1d-14, 'nuv_dnrm2')
    call expect(nuv_dlange('M', 3, 1, x, 3, rwork) == 4, 'nuv_dlange')
    call nuv_dgemm('N', 'T', 1, 1, 3, 1d0, x, 1, x, 1, 0d0, w, 1)
    call expect(w(1) == 25, 'nuv_dgemm')
  end subroutine

  subroutine keeps_the_names_with_lengths
    real(c_float) :: a(1, 1) = 9
    integer(c_int) :: info
    call nuv_lapack_spotrf('U', 1, a, 1, info, 1)
    call expect(info == 0 .and. a(1, 1) == 3, 'nuv_lapack_spotrf')
    ! Of a text the length matters, so that the short name has it, too.
    call expect(nuv_ilaenv(1, 'DGETRF', ' ', 500, 500, -1, -1, 6, 1) > 1, 'nuv_ilaenv')
  end subroutine

  subroutine asks_procedures_of_the_caller
    real(c_double) :: a(3, 3), wr(3), wi(3), z(3, 3), work(100)
    complex(c_double_complex) :: c(2, 2), w(2), v(1, 1), zwork(100)
    integer(c_int) :: sdim, bwork(3), info
    a = reshape([3d0, 0d0, 0d0, 1d0, -1d0, 0d0, 1d0, 1d0, -2d0], [3, 3])
    call nuv_dgees('V', 'S', is_negative, 3, a, 3, sdim, wr, wi, z, 3, work, 100, bwork, info)
    call expect(info == 0 .and. sdim == 2 .and. all(wr(1:2) < 0) .and. abs(wr(3) - 3) < 1d-14, 'nuv_dgees')
    c = reshape([complex(c_double_complex) :: (0, -1), 0, 1, (0, 2)], [2, 2])
    call nuv_lapack_zgees('N', 'S', is_above, 2, c, 2, sdim, w, v, 1, zwork, 100, work, bwork, info, 1, 1)
    call expect(info == 0 .and. sdim == 1 .and. abs(w(1) - (0, 2)) < 1d-14, 'nuv_lapack_zgees')
  end subroutine

  subroutine asks_procedures_of_the_caller_about_pencils
    real(c_double) :: a(3, 3), b(3, 3), alphar(3), alphai(3), beta(3), q(3, 3), z(3, 3), work(100)
    complex(c_double_complex) :: c(2, 2), d(2, 2), alpha(2), denominator(2), v(1, 1), zwork(100)
    integer(c_int) :: sdim, bwork(3), info
    a = reshape([6d0, 0d0, 0d0, 1d0, -1d0, 0d0, 1d0, 1d0, -8d0], [3, 3])
    b = reshape([2d0, 0d0, 0d0, 0d0, 1d0, 0d0, 0d0, 0d0, 4d0], [3, 3])
    call nuv_dgges('V', 'V', 'S', is_below, 3, a, 3, b, 3, sdim, alphar, alphai, beta, q, 3, z, 3, work, 100, bwork, info)
    call expect(info == 0 .and. sdim == 2 .and. all(alphar(1:2) < 0) .and. abs(alphar(3) / beta(3) - 3) < 1d-14, 'nuv_dgges')
    c = reshape([complex(c_double_complex) :: (0, -1), 0, 1, (0, 4)], [2, 2])
    d = reshape([complex(c_double_complex) :: 1, 0, 0, 2], [2, 2])
    call nuv_lapack_zgges('N', 'N', 'S', has_quotient_above, 2, c, 2, d, 2, sdim, alpha, denominator, v, 1, v, 1, zwork, &
                          100, work, bwork, info, 1, 1, 1)
    call expect(info == 0 .and. sdim == 1 .and. abs(alpha(1) / denominator(1) - (0, 2)) < 1d-14, 'nuv_lapack_zgges')
  end subroutine

  subroutine offers_the_services
    type(c_ptr) :: memory
    call expect(nuv_serv_d_sign(3d0, -1d0) == -3, 'nuv_serv_d_sign')
    call expect(nuv_serv_lsame('u', 'U') /= 0 .and. nuv_serv_lsame('u', 'L') == 0, 'nuv_serv_lsame')
    call expect(nuv_serv_nuv_get_max_threads() == 1, 'nuv_serv_nuv_get_max_threads')
    memory = nuv_serv_allocate(4096, 64)
    call expect(c_associated(memory), 'nuv_serv_allocate')
    call nuv_serv_deallocate(memory)
  end subroutine

end program short_names_test
